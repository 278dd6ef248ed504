#include "platform/macos/video_encoder.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

#include "base/thread_annotations.hpp"

namespace quillon {
namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;

PicturePtr greyPicture() {
    const auto bytes =
        std::make_shared<std::vector<uint8_t>>(static_cast<size_t>(kWidth) * kHeight * 4, 0x80);
    auto picture = std::make_shared<Picture>();
    picture->width = kWidth;
    picture->height = kHeight;
    picture->planes[0] = {bytes->data(), kWidth * 4};
    picture->memory = bytes;
    return picture;
}

class VideoToolboxEncoderTest : public testing::Test {
  protected:
    void SetUp() override {
        try {
            encoder_ =
                makeVideoToolboxEncoder({.width = kWidth, .height = kHeight, .bitrate = 2'000'000},
                                        {.onSample = [this](const EncodedSample& sample) { keep(sample); },
                                         .ready = [this] { return ready_; },
                                         .pictureWanted = [this] { count(wanted_); }});
        } catch (const EncoderFailure& failure) {
            GTEST_SKIP() << failure.what();
        }
    }

    void keep(const EncodedSample& sample) {
        if (sample.dropped || sample.data.empty()) return;
        count(samples_);
        const MutexLock guard(lock_);
        hasParameterSets_ = hasParameterSets_ || (!sample.sps.empty() && !sample.pps.empty());
    }
    void count(int& number) {
        const MutexLock guard(lock_);
        ++number;
    }

    bool ready_ = true;  // changes only before pictures come
    Mutex lock_;
    int samples_ = 0;  // these are of the encoder's threads until it has ended
    int wanted_ = 0;
    bool hasParameterSets_ = false;
    std::unique_ptr<VideoEncoder> encoder_;
};

TEST_F(VideoToolboxEncoderTest, DeliversWhatWaitsBeforeItEnds) {
    EXPECT_TRUE(encoder_->acceptsPicture());
    encoder_->encode(greyPicture(), 0);
    encoder_->invalidate();
    EXPECT_EQ(samples_, 1);
    EXPECT_TRUE(hasParameterSets_);
    EXPECT_FALSE(encoder_->acceptsPicture());
}

TEST_F(VideoToolboxEncoderTest, DeliversNothingAfterItsEnd) {
    encoder_->invalidate();
    encoder_->encode(greyPicture(), 0);
    encoder_->invalidate();
    EXPECT_EQ(samples_, 0);
}

TEST_F(VideoToolboxEncoderTest, AsksForThePictureThatItLetGo) {
    ready_ = false;
    encoder_->encode(greyPicture(), 0);
    encoder_->invalidate();
    EXPECT_EQ(samples_, 0);
    EXPECT_EQ(wanted_, 1);
}

}  // namespace
}  // namespace quillon
