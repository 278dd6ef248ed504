#include "device/video_decoder.hpp"

#include <gtest/gtest.h>

#include "device/annex_b.hpp"
#include "device/rgb_picture.hpp"
#include "video_sample.hpp"

namespace quillon::device {
namespace {

uint8_t movingEdge(int index, int x, int) {
    return x < 40 + 8 * index ? 235 : 16;
}

class VideoDecoderTest : public testing::Test {
  protected:
    void SetUp() override {
        if (sample_.frames.empty()) GTEST_SKIP() << "libavcodec has no libx264 here";
        ASSERT_EQ(sample_.frames.size(), 6U);
        ASSERT_TRUE(decoder_.configure(sample_.parameterSets));
    }

    VideoSample sample_ = encodeSample({320, 240}, 6, movingEdge);
    VideoDecoder decoder_;
};

TEST(AnnexB, PutsAStartCodeWhereALengthWas) {
    Bytes out{9};
    EXPECT_TRUE(appendAnnexB(out, Bytes{0, 0, 0, 2, 0x67, 1, 0, 0, 0, 1, 0x68}));
    EXPECT_EQ(out, (Bytes{9, 0, 0, 0, 1, 0x67, 1, 0, 0, 0, 1, 0x68}));
}

TEST(AnnexB, RefusesLengthsThatDoNotAddUp) {
    for (const Bytes& bad : {Bytes{}, Bytes{0, 0, 0}, Bytes{0, 0, 0, 0}, Bytes{0, 0, 0, 2, 1},
                             Bytes{0, 0, 0, 1, 1, 0}, Bytes{0xFF, 0xFF, 0xFF, 0xFF, 1}}) {
        Bytes out{9};
        EXPECT_FALSE(appendAnnexB(out, bad));
        EXPECT_EQ(out, Bytes{9});
    }
}

TEST_F(VideoDecoderTest, GivesEveryFrameAtOnce) {
    for (int i = 0; i < 6; ++i) {
        const auto result = decoder_.decode(sample_.frames[static_cast<size_t>(i)]);
        ASSERT_TRUE(result.picture) << i;
        EXPECT_FALSE(result.failed);
        EXPECT_FALSE(result.missingReference);
        EXPECT_EQ(result.picture->size(), (Size{320, 240}));
        const uint8_t* row = result.picture->plane(0) + 100 * result.picture->stride(0);
        EXPECT_NEAR(row[40 + 8 * i - 4], 235, 6);
        EXPECT_NEAR(row[40 + 8 * i + 4], 16, 6);
    }
}

TEST_F(VideoDecoderTest, ConvertsLimitedRangeToFull) {
    const RgbPicture rgb = toRgb(*decoder_.decode(sample_.frames[0]).picture);
    const uint8_t* row = rgb.pixels.data() + 100 * rgb.stride();
    EXPECT_GE(row[4 * 10 + 1], 250);
    EXPECT_LE(row[4 * 200 + 1], 5);
}

TEST_F(VideoDecoderTest, SeesThatAFrameNeverCame) {
    EXPECT_FALSE(decoder_.decode(sample_.frames[0]).missingReference);
    EXPECT_FALSE(decoder_.decode(sample_.frames[1]).missingReference);
    EXPECT_TRUE(decoder_.decode(sample_.frames[3]).missingReference);
    EXPECT_TRUE(decoder_.decode(sample_.frames[4]).missingReference) << "it builds on the broken one";
    EXPECT_FALSE(decoder_.decode(sample_.frames[0]).missingReference) << "an IDR picture begins anew";
}

TEST_F(VideoDecoderTest, SeesAStreamThatDoesNotBeginWithAnIdrPicture) {
    EXPECT_TRUE(decoder_.decode(sample_.frames[1]).missingReference);
}

TEST_F(VideoDecoderTest, AcceptsTheSameFrameNumbersInFurtherSlices) {
    const VideoSample sliced = encodeSample({320, 240}, 4, movingEdge, 4);
    VideoDecoder decoder;
    ASSERT_TRUE(decoder.configure(sliced.parameterSets));
    for (const Bytes& frame : sliced.frames) {
        const auto result = decoder.decode(frame);
        EXPECT_FALSE(result.failed);
        EXPECT_FALSE(result.missingReference);
    }
}

TEST_F(VideoDecoderTest, ReportsAPictureWithAMissingPart) {
    const VideoSample sliced = encodeSample({320, 240}, 2, movingEdge, 4);
    VideoDecoder decoder;
    ASSERT_TRUE(decoder.configure(sliced.parameterSets));
    const Bytes& whole = sliced.frames[0];
    const size_t firstSlice = 4 + loadBigEndian32(whole.data());
    ASSERT_LT(firstSlice, whole.size());
    EXPECT_TRUE(decoder.decode(ByteView(whole).first(firstSlice)).failed);
}

TEST_F(VideoDecoderTest, FrameNumbersWrapAround) {
    const VideoSample longer = encodeSample({64, 64}, 80, movingEdge);
    VideoDecoder decoder;
    ASSERT_TRUE(decoder.configure(longer.parameterSets));
    for (const Bytes& frame : longer.frames) EXPECT_FALSE(decoder.decode(frame).missingReference);
}

TEST_F(VideoDecoderTest, MalformedBytesFailAndLeaveTheDecoderUsable) {
    EXPECT_TRUE(decoder_.decode(Bytes{0, 0, 0, 9, 1}).failed);
    EXPECT_TRUE(decoder_.decode({}).failed);
    EXPECT_TRUE(decoder_.decode(Bytes{0, 0, 0, 4, 0x65, 0xFF, 0xFF, 0xFF}).failed);
    EXPECT_FALSE(decoder_.configure(Bytes{1, 2, 3}));
    EXPECT_FALSE(decoder_.decode(sample_.frames[0]).failed);
}

TEST_F(VideoDecoderTest, FollowsAChangeOfSize) {
    EXPECT_TRUE(decoder_.decode(sample_.frames[0]).picture);
    const VideoSample other = encodeSample({160, 128}, 1, movingEdge);
    ASSERT_TRUE(decoder_.configure(other.parameterSets));
    const auto result = decoder_.decode(other.frames[0]);
    ASSERT_TRUE(result.picture);
    EXPECT_EQ(result.picture->size(), (Size{160, 128}));
    EXPECT_FALSE(result.failed);
}

TEST_F(VideoDecoderTest, GivesBackAPlayableStream) {
    decoder_.decode(sample_.frames[0]);
    Bytes expected;
    ASSERT_TRUE(appendAnnexB(expected, sample_.parameterSets));
    ASSERT_TRUE(appendAnnexB(expected, sample_.frames[0]));
    EXPECT_EQ(Bytes(decoder_.lastAnnexB().begin(), decoder_.lastAnnexB().end()), expected);
    decoder_.decode(sample_.frames[1]);
    EXPECT_EQ(decoder_.lastAnnexB()[4] & 0x1F, 1) << "parameter sets go once";
}

}  // namespace
}  // namespace quillon::device
