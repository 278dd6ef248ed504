#include "platform/linux/x264_encoder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <string>

#include "base/thread_annotations.hpp"
#include "platform/linux/run_loop.hpp"
#include "tests/linux/x264_test_support.hpp"

namespace quillon {
namespace {

using testing::Each;
using testing::ElementsAre;
using x264_test::Decoder;
using x264_test::drawNoise;
using x264_test::drawText;
using x264_test::makeI420;
using x264_test::psnr;
using x264_test::unitTypes;

constexpr auto kPatience = std::chrono::seconds(20);

/// Drives one encoder the way a source would, and keeps what comes out.
class X264EncoderTest : public testing::Test {
  protected:
    struct Sample {
        int status = 0;
        Bytes sps;
        Bytes pps;
        Bytes data;
        int64_t time = 0;
    };

    void open(EncoderSettings settings) {
        settings_ = settings;
        picture_ = makeI420(settings.width, settings.height);
        encoder_ = makeX264Encoder(settings,
                                   {.onSample = [this](const EncodedSample& sample) { keep(sample); },
                                    .ready = [this] { return ready_.load(); },
                                    .pictureWanted =
                                        [this] {
                                            const MutexLock guard(lock_);
                                            ++wanted_;
                                            changed_.notify_all();
                                        }},
                                   clock_);
    }

    void keep(const EncodedSample& sample) {
        const MutexLock guard(lock_);
        samples_.push_back({sample.status,
                            {sample.sps.begin(), sample.sps.end()},
                            {sample.pps.begin(), sample.pps.end()},
                            {sample.data.begin(), sample.data.end()},
                            sample.presentationMicroseconds});
        changed_.notify_all();
    }

    /// A picture of its own that shows what `picture_` shows now.
    std::shared_ptr<Picture> copy() const {
        auto copy = makeI420(picture_->width, picture_->height);
        const size_t size = static_cast<size_t>(copy->width) * copy->height * 3 / 2;
        std::copy_n(picture_->planes[0].data, size, copy->planes[0].data);
        return copy;
    }

    /// Submits what `picture_` shows, changed in `damage` only, without waiting.
    void submit(int64_t time, std::vector<PixelRect> damage) {
        auto next = copy();
        next->sequence = ++sequence_;
        next->damage = std::move(damage);
        encoder_->encode(next, static_cast<uint64_t>(time));
    }

    /// Submits and waits for its frame.
    void show(int64_t time, std::vector<PixelRect> damage) {
        const size_t before = count();
        submit(time, std::move(damage));
        ASSERT_TRUE(waitFor([&] { return samples_.size() > before; }));
    }
    void showAll(int64_t time) { show(time, {whole()}); }
    PixelRect whole() const { return {0, 0, settings_.width, settings_.height}; }

    template <typename Condition>
    bool waitFor(Condition condition) NO_THREAD_SAFETY_ANALYSIS {
        MutexLock guard(lock_);
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!condition()) {
            if (changed_.wait_until(guard, deadline) == std::cv_status::timeout) return condition();
        }
        return true;
    }
    size_t count() {
        const MutexLock guard(lock_);
        return samples_.size();
    }

    /// Decodes everything delivered so far and gives the last picture; fails on any decoding error.
    std::shared_ptr<Picture> decodeAll() {
        const MutexLock guard(lock_);
        if (samples_.empty()) return nullptr;
        Decoder decoder(samples_.front().sps, samples_.front().pps);
        std::shared_ptr<Picture> last;
        keys_.clear();
        for (const Sample& sample : samples_) {
            EXPECT_EQ(sample.status, 0);
            last = decoder.decode(sample.data);
            EXPECT_TRUE(last);
            keys_.push_back(decoder.wasKey());
        }
        EXPECT_EQ(decoder.errors(), 0);
        return last;
    }

    LinuxRunLoop clock_;
    EncoderSettings settings_;
    std::shared_ptr<Picture> picture_;
    uint64_t sequence_ = 0;
    std::atomic<bool> ready_{true};

    Mutex lock_;
    std::condition_variable_any changed_;
    std::vector<Sample> samples_ GUARDED_BY(lock_);
    int wanted_ GUARDED_BY(lock_) = 0;
    std::vector<bool> keys_;

    std::unique_ptr<VideoEncoder> encoder_;  // last: ends before what its callbacks use
};

constexpr EncoderSettings kSmall{.width = 320, .height = 240, .fps = 30, .bitrate = 4'000'000};

TEST_F(X264EncoderTest, StreamIsDeclaredMainWithoutReordering) {
    open(kSmall);
    showAll(0);
    const MutexLock guard(lock_);
    const Sample& sample = samples_.front();
    ASSERT_GT(sample.sps.size(), 4u);
    EXPECT_EQ(sample.sps[0] & 31, 7);
    EXPECT_EQ(sample.sps[1], 77);
    ASSERT_FALSE(sample.pps.empty());
    EXPECT_EQ(sample.pps[0] & 31, 8);
}

TEST_F(X264EncoderTest, FramesHoldOneSliceAfterItsLengthAndNothingElse) {
    open(kSmall);
    for (int i = 0; i < 5; ++i) {
        drawText(*picture_, {32, 32, 64, 64}, static_cast<uint32_t>(i));
        show(i * 33'333, {{32, 32, 64, 64}});
    }
    decodeAll();
    const MutexLock guard(lock_);
    EXPECT_THAT(unitTypes(samples_[0].data), ElementsAre(5));
    for (size_t i = 1; i < samples_.size(); ++i) EXPECT_THAT(unitTypes(samples_[i].data), ElementsAre(1));
}

TEST_F(X264EncoderTest, DecodedPictureResemblesItsSource) {
    open(kSmall);
    drawText(*picture_, whole(), 1);
    showAll(0);
    for (int i = 1; i < 20; ++i) {
        const PixelRect where{16 * i - 5, 37, 40, 21};
        drawText(*picture_, where, static_cast<uint32_t>(i));
        show(i * 33'333, {where});
    }
    EXPECT_GT(psnr(*decodeAll(), *picture_), 30);
}

TEST_F(X264EncoderTest, RestingScreenIsRefinedThenSilent) {
    open(kSmall);
    drawText(*picture_, whole(), 1);
    showAll(0);
    std::shared_ptr<Picture> decoded;
    ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return samples_.size() >= 2; }));
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    do {
        decoded = decodeAll();
    } while (psnr(*decoded, *picture_) < 55 && std::chrono::steady_clock::now() < deadline);
    EXPECT_GE(psnr(*decoded, *picture_), 55);
}

TEST_F(X264EncoderTest, RefusedPicturesAreMadeGoodByTheNext) {
    open(kSmall);
    drawText(*picture_, whole(), 1);
    showAll(0);
    ready_ = false;
    drawText(*picture_, {0, 0, 64, 64}, 2);
    submit(33'333, {{0, 0, 64, 64}});
    ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return wanted_ == 1; }));
    drawText(*picture_, {128, 128, 64, 64}, 3);
    submit(66'666, {{128, 128, 64, 64}});
    ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return wanted_ == 2; }));
    ready_ = true;
    show(100'000, {});
    EXPECT_GT(psnr(*decodeAll(), *picture_), 30);
}

TEST_F(X264EncoderTest, BgraPicturesOfAnotherSizeAreScaled) {
    open(kSmall);
    const int width = kSmall.width * 2;
    const int height = kSmall.height * 2;
    // White on the left, black on the right.
    auto pixels = std::make_shared<Bytes>(static_cast<size_t>(width) * height * 4);
    for (size_t i = 0; i < pixels->size(); ++i) (*pixels)[i] = i / 4 % width < width / 2u ? 255 : 0;
    auto picture = std::make_shared<Picture>();
    picture->width = width;
    picture->height = height;
    picture->planes[0] = {pixels->data(), width * 4};
    picture->memory = pixels;
    encoder_->encode(picture, 0);
    ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return !samples_.empty(); }));

    const auto decoded = decodeAll();
    ASSERT_EQ(decoded->width, kSmall.width);
    const uint8_t* row = decoded->planes[0].data + kSmall.height / 2 * decoded->planes[0].stride;
    EXPECT_GT(row[kSmall.width / 4], 200);
    EXPECT_LT(row[kSmall.width * 3 / 4], 50);
}

TEST_F(X264EncoderTest, CreationFailureSaysSo) {
    try {
        open({.width = 3, .height = 2, .fps = 30, .bitrate = 1'000'000});
        FAIL() << "no failure";
    } catch (const EncoderFailure& failure) {
        EXPECT_NE(failure.status(), 0);
        EXPECT_EQ(failure.what(), "VTCompressionSessionCreate failed: " + std::to_string(failure.status()));
    }
}

}  // namespace
}  // namespace quillon
