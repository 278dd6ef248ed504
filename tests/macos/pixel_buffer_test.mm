#include "platform/macos/pixel_buffer.hpp"

#include <gtest/gtest.h>

#include "base/bytes.hpp"

namespace quillon {
namespace {

std::shared_ptr<Picture> bgraPicture(int width, int height) {
    auto bytes = std::make_shared<Bytes>(static_cast<size_t>(width) * height * 4, uint8_t{0x40});
    auto picture = std::make_shared<Picture>();
    picture->width = width;
    picture->height = height;
    picture->planes[0] = {bytes->data(), width * 4};
    picture->memory = bytes;
    return picture;
}

TEST(PixelBufferTest, BytesAreWrappedAndLiveAsLongAsTheBuffer) {
    const auto picture = bgraPicture(8, 6);
    auto buffer = pixelBufferOf(picture);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(CVPixelBufferGetWidth(buffer.get()), 8U);
    EXPECT_EQ(CVPixelBufferGetHeight(buffer.get()), 6U);
    EXPECT_GT(picture.use_count(), 1) << "the buffer holds the picture";
    buffer.reset();
    EXPECT_EQ(picture.use_count(), 1);
}

TEST(PixelBufferTest, ABufferComesBackFromItsPicture) {
    const auto buffer = pixelBufferOf(bgraPicture(8, 6));
    const PicturePtr picture = pictureOf(buffer.get());
    EXPECT_EQ(picture->format, Picture::Format::native);
    EXPECT_EQ(picture->width, 8);
    EXPECT_EQ(pixelBufferOf(picture).get(), buffer.get());
}

TEST(PixelBufferTest, PlanesAreNotTaken) {
    const auto picture = bgraPicture(8, 6);
    picture->format = Picture::Format::i420;
    EXPECT_EQ(pixelBufferOf(picture), nullptr);
}

}  // namespace
}  // namespace quillon
