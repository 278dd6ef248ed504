#include "device/artwork.hpp"

#include <gtest/gtest.h>

namespace quillon::device {
namespace {

RgbPicture filled(Size size, uint8_t value, uint8_t alpha = 255) {
    RgbPicture picture{size, std::vector<uint8_t>(static_cast<size_t>(size.width * size.height * 4), value)};
    for (size_t i = 3; i < picture.pixels.size(); i += 4) picture.pixels[i] = alpha;
    return picture;
}

uint8_t blueAt(const RgbPicture& picture, int x, int y) {
    return picture.pixels[static_cast<size_t>(y * picture.stride() + x * 4)];
}

TEST(Artwork, BlendsByAlpha) {
    RgbPicture picture = filled({4, 4}, 0);
    blend(picture, filled({2, 2}, 200, 255), 0, 0);
    blend(picture, filled({2, 2}, 200, 0), 2, 0);
    blend(picture, filled({2, 2}, 200, 128), 0, 2);
    EXPECT_EQ(blueAt(picture, 1, 1), 200);
    EXPECT_EQ(blueAt(picture, 2, 1), 0);
    EXPECT_NEAR(blueAt(picture, 1, 2), 100, 1);
}

TEST(Artwork, LeavesOutWhatLiesOutside) {
    for (const int at : {-3, -2, 3, 100, -100}) {
        RgbPicture picture = filled({4, 4}, 0);
        blend(picture, filled({3, 3}, 200), at, at);
        EXPECT_EQ(blueAt(picture, 0, 0), at == -2 ? 200 : 0);
        EXPECT_EQ(blueAt(picture, 3, 3), at == 3 ? 200 : 0);
    }
}

TEST(Artwork, ThePointerPointsWithItsTopLeftPixel) {
    const RgbPicture pointer = drawPointer(32);
    EXPECT_EQ(pointer.size.height, 32);
    EXPECT_GT(pointer.pixels[3], 64) << "the tip is there";
    EXPECT_EQ(pointer.pixels[static_cast<size_t>(pointer.stride()) - 1], 0) << "the top right is empty";
}

TEST(Artwork, ThePanelGrowsWithItsText) {
    const RgbPicture one = drawPanel({"a"}, 14);
    const RgbPicture two = drawPanel({"a", "longer"}, 14);
    EXPECT_GT(two.size.width, one.size.width);
    EXPECT_GT(two.size.height, one.size.height);
}

}  // namespace
}  // namespace quillon::device
