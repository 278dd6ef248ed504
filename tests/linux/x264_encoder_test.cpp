#include "platform/linux/x264_encoder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <string>

#include "base/thread_annotations.hpp"
#include "platform/linux/run_loop.hpp"
#include "tests/linux/x264_test_support.hpp"

namespace quillon {
namespace {

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
        encoder_ = makeX264Encoder(settings,
                                   {.onSample = [this](const EncodedSample& sample) { keep(sample); },
                                    .ready = [this] { return answer(); },
                                    .pictureWanted =
                                        [this] {
                                            const MutexLock guard(lock_);
                                            ++wanted_;
                                            changed_.notify_all();
                                        }},
                                   clock_);
        picture_ = makeI420(settings.width, settings.height);
    }

    /// The link's answer; the encoder's thread can be held in the question.
    bool answer() {
        MutexLock guard(lock_);
        held_ = holds_;
        changed_.notify_all();
        while (holds_) changed_.wait(guard);
        held_ = false;
        return ready_;
    }
    void release() {
        const MutexLock guard(lock_);
        holds_ = false;
        changed_.notify_all();
    }

    bool isSilentFor(std::chrono::milliseconds pause) {
        MutexLock guard(lock_);
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        size_t seen = samples_.size();
        auto quietUntil = std::chrono::steady_clock::now() + pause;
        while (std::chrono::steady_clock::now() < quietUntil) {
            changed_.wait_until(guard, quietUntil);
            if (samples_.size() == seen) continue;
            if (std::chrono::steady_clock::now() > deadline) return false;
            seen = samples_.size();
            quietUntil = std::chrono::steady_clock::now() + pause;
        }
        return true;
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
        ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return samples_.size() > before; }));
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
    std::atomic<bool> holds_{false};
    bool held_ GUARDED_BY(lock_) = false;
    std::vector<bool> keys_;

    std::unique_ptr<VideoEncoder> encoder_;  // last: ends before what its callbacks use
};

constexpr EncoderSettings kSmall{
    .width = 320, .height = 240, .fps = 30, .bitrate = 4'000'000, .keyframeSeconds = 2};

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

#define WAIT_FOR_SILENCE() ASSERT_TRUE(isSilentFor(std::chrono::milliseconds(400)))

TEST_F(X264EncoderTest, RestingScreenIsRefinedToNearlyLosslessThenSilent) {
    open(kSmall);
    drawText(*picture_, whole(), 1);
    showAll(1'000'000);
    const double first = psnr(*decodeAll(), *picture_);
    WAIT_FOR_SILENCE();
    EXPECT_GT(count(), 1u);
    EXPECT_LT(count(), 10u);
    const double last = psnr(*decodeAll(), *picture_);
    EXPECT_GT(last, first);
    EXPECT_GT(last, 58);
    EXPECT_THAT(keys_, testing::Contains(true).Times(1));
    const MutexLock guard(lock_);
    for (size_t i = 1; i < samples_.size(); ++i) {
        EXPECT_GT(samples_[i].time, samples_[i - 1].time);
        EXPECT_GE(samples_[i].time, 1'000'000 + 150'000);
        EXPECT_LT(samples_[i].time, 1'000'000 + 5'000'000);
    }
}

TEST_F(X264EncoderTest, RefinementAsksTheLink) {
    open(kSmall);
    drawText(*picture_, whole(), 1);
    showAll(0);
    ready_ = false;
    WAIT_FOR_SILENCE();
    EXPECT_EQ(count(), 1u);
    {
        const MutexLock guard(lock_);
        EXPECT_EQ(wanted_, 0);
    }
    ready_ = true;
    ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return samples_.size() > 1; }));
}

TEST_F(X264EncoderTest, ASmallChangeOnASharpScreenIsSmallAndSharp) {
    open({.width = 640, .height = 480, .fps = 30, .bitrate = 18'000'000, .keyframeSeconds = 2});
    drawText(*picture_, whole(), 1);
    showAll(0);
    WAIT_FOR_SILENCE();
    const size_t before = count();
    drawText(*picture_, {100, 100, 20, 20}, 2);
    show(1'500'000, {{100, 100, 20, 20}});
    EXPECT_GT(psnr(*decodeAll(), *picture_), 58);
    WAIT_FOR_SILENCE();
    EXPECT_EQ(count(), before + 1);
    const MutexLock guard(lock_);
    EXPECT_LT(samples_.back().data.size(), 4000u);
}

TEST_F(X264EncoderTest, WhatLiesOutsideTheDamageIsTakenAsUnchanged) {
    open(kSmall);
    showAll(0);
    drawNoise(*picture_, {0, 0, 160, 240}, 1);
    show(33'333, {});
    const auto flat = makeI420(kSmall.width, kSmall.height);
    EXPECT_GT(psnr(*decodeAll(), *flat), 40);
}

TEST_F(X264EncoderTest, AGapInTheSequenceMeansThatEverythingMayHaveChanged) {
    open(kSmall);
    showAll(0);
    drawText(*picture_, whole(), 2);
    ++sequence_;
    show(33'333, {});
    EXPECT_GT(psnr(*decodeAll(), *picture_), 25);
}

TEST_F(X264EncoderTest, ASourceWithoutAccountsMayChangeAnything) {
    open(kSmall);
    for (uint32_t i = 0; i < 3; ++i) {
        drawText(*picture_, whole(), i);
        const size_t before = count();
        encoder_->encode(copy(), i * 33'333);
        ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return samples_.size() > before; }));
    }
    EXPECT_GT(psnr(*decodeAll(), *picture_), 25);
}

TEST_F(X264EncoderTest, TheSamePictureAgainIsAFrameThatChangesNothing) {
    open(kSmall);
    auto once = copy();
    once->sequence = 7;
    once->damage = {whole()};
    for (int i = 0; i < 2; ++i) {
        const size_t before = count();
        encoder_->encode(once, static_cast<uint64_t>(i) * 33'333);
        ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return samples_.size() > before; }));
    }
    EXPECT_GT(psnr(*decodeAll(), *picture_), 40);
    const MutexLock guard(lock_);
    EXPECT_LT(samples_.back().data.size(), 100u);
}

TEST_F(X264EncoderTest, BgraPicturesAreConverted) {
    open({.width = 64, .height = 64, .fps = 30, .bitrate = 4'000'000});
    Bytes pixels(size_t{64} * 64 * 4);
    for (size_t i = 0; i < pixels.size(); i += 4) pixels[i + 2] = 255;  // red
    auto picture = std::make_shared<Picture>();
    picture->format = Picture::Format::bgra;
    picture->width = picture->height = 64;
    picture->planes[0] = {pixels.data(), 64 * 4};
    encoder_->encode(picture, 0);
    ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return !samples_.empty(); }));
    const auto decoded = decodeAll();
    EXPECT_NEAR(decoded->planes[0].data[0], 82, 3);
    EXPECT_NEAR(decoded->planes[1].data[0], 90, 3);
    EXPECT_NEAR(decoded->planes[2].data[0], 240, 3);
}

TEST_F(X264EncoderTest, AnUnusablePictureIsAFailedSampleAndTheNextBeginsAnew) {
    open(kSmall);
    showAll(0);
    encoder_->encode(makeI420(64, 64), 33'333);
    ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return samples_.size() == 2; }));
    {
        const MutexLock guard(lock_);
        EXPECT_NE(samples_.back().status, 0);
        EXPECT_TRUE(samples_.back().data.empty());
        samples_.clear();
    }
    drawText(*picture_, whole(), 4);
    show(66'666, {});
    EXPECT_GT(psnr(*decodeAll(), *picture_), 25);
    EXPECT_THAT(keys_, ElementsAre(true));
}

TEST_F(X264EncoderTest, KeyFramesComeByFrames) {
    open({.width = 64, .height = 64, .fps = 5, .bitrate = 4'000'000, .keyframeSeconds = 2});
    for (int i = 0; i < 25; ++i) show(i * 1000, {});
    decodeAll();
    for (size_t i = 0; i < keys_.size(); ++i) EXPECT_EQ(keys_[i], i % 10 == 0) << i;
}

TEST_F(X264EncoderTest, KeyFramesComeByTime) {
    open({.width = 64, .height = 64, .fps = 30, .bitrate = 4'000'000, .keyframeSeconds = 2});
    for (int i = 0; i < 10; ++i) show(i * 500'000, {});
    decodeAll();
    for (size_t i = 0; i < keys_.size(); ++i) EXPECT_EQ(keys_[i], i % 4 == 0) << i;
}

TEST_F(X264EncoderTest, NoSecondOfMotionExceedsTheBitRate) {
    open({.width = 320, .height = 240, .fps = 30, .bitrate = 3'000'000, .keyframeSeconds = 2});
    for (int i = 0; i < 150; ++i) {
        drawNoise(*picture_, {0, 0, 160, 120}, static_cast<uint32_t>(i));
        drawText(*picture_, {160, 0, 160, 240}, static_cast<uint32_t>(i));
        show(i * 33'333, {whole()});
    }
    decodeAll();
    const MutexLock guard(lock_);
    for (size_t first = 30; first + 30 <= samples_.size(); ++first) {
        size_t bytes = 0;
        for (size_t i = first; i < first + 30; ++i) bytes += samples_[i].data.size();
        EXPECT_LT(8.0 * static_cast<double>(bytes), 3'000'000 * 1.1) << first;
    }
}

TEST_F(X264EncoderTest, AWaitingPictureIsReplacedButItsChangesAreKept) {
    open(kSmall);
    drawText(*picture_, whole(), 1);
    showAll(0);
    holds_ = true;
    drawText(*picture_, {0, 0, 32, 32}, 2);
    submit(33'333, {{0, 0, 32, 32}});  // held in the question about the link
    ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return held_; }));
    EXPECT_TRUE(encoder_->acceptsPicture());
    drawText(*picture_, {64, 64, 32, 32}, 3);
    submit(66'666, {{64, 64, 32, 32}});
    EXPECT_FALSE(encoder_->acceptsPicture());
    drawText(*picture_, {128, 128, 32, 32}, 4);
    submit(100'000, {{128, 128, 32, 32}});
    release();
    ASSERT_TRUE(waitFor([&]() NO_THREAD_SAFETY_ANALYSIS { return samples_.size() == 3; }));
    EXPECT_GT(psnr(*decodeAll(), *picture_), 30);
    const MutexLock guard(lock_);
    EXPECT_EQ(samples_.back().time, 100'000);
}

TEST_F(X264EncoderTest, InvalidateEncodesWhatWaitsThenNothing) {
    open(kSmall);
    submit(5, {whole()});
    encoder_->invalidate();
    EXPECT_EQ(count(), 1u);
    EXPECT_FALSE(encoder_->acceptsPicture());
    submit(6, {whole()});
    encoder_->invalidate();
    EXPECT_EQ(count(), 1u);
}

TEST_F(X264EncoderTest, TimesNeverGoBack) {
    open(kSmall);
    show(500, {});
    show(400, {});
    const MutexLock guard(lock_);
    EXPECT_GE(samples_[1].time, samples_[0].time);
}

TEST_F(X264EncoderTest, SmallestAndOddlyShapedPicturesDecode) {
    for (const Size size : {Size{2, 2}, Size{16, 2}, Size{18, 34}, Size{2, 130}}) {
        encoder_.reset();
        {
            const MutexLock guard(lock_);
            samples_.clear();
        }
        sequence_ = 0;
        open({.width = size.width,
              .height = size.height,
              .fps = 60,
              .bitrate = 1'000'000,
              .keyframeSeconds = 2});
        for (int i = 0; i < 5; ++i) show(i * 16'667, {whole()});
        const auto decoded = decodeAll();
        EXPECT_EQ(decoded->width, size.width);
        EXPECT_EQ(decoded->height, size.height);
        EXPECT_GT(psnr(*decoded, *picture_), 35);
    }
}

TEST_F(X264EncoderTest, LargePicturesInTwoSlicesDecode) {
    open({.width = 2048, .height = 1088, .fps = 30, .bitrate = 18'000'000, .keyframeSeconds = 2});
    for (uint32_t i = 0; i < 4; ++i) {
        drawText(*picture_, {300, 400, 200, 200}, i);
        show(i * 33'333, {{300, 400, 200, 200}});
    }
    EXPECT_GT(psnr(*decodeAll(), *picture_), 30);
    const MutexLock guard(lock_);
    EXPECT_THAT(unitTypes(samples_[0].data), ElementsAre(5, 5));
}

TEST_F(X264EncoderTest, PicturesFasterThanItEncodesDecode) {
    open({.width = 320, .height = 240, .fps = 5'000, .bitrate = 900'000'000, .keyframeSeconds = 2});
    for (uint32_t i = 0; i < 60; ++i) {
        drawText(*picture_, whole(), i / 10);
        show(i * 200, {whole()});
    }
    EXPECT_GT(psnr(*decodeAll(), *picture_), 30);
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
    for (const Size size : {Size{3, 2}, Size{2, 5}, Size{0, 0}, Size{-2, 2}, Size{2, 16386}}) {
        try {
            open({.width = size.width, .height = size.height, .fps = 30, .bitrate = 1'000'000});
            FAIL() << "no failure";
        } catch (const EncoderFailure& failure) {
            EXPECT_NE(failure.status(), 0);
            EXPECT_EQ(failure.what(),
                      "VTCompressionSessionCreate failed: " + std::to_string(failure.status()));
        }
    }
}

}  // namespace
}  // namespace quillon
