#include <gtest/gtest.h>

#include <limits>

#include "session/cursor_feed.hpp"
#include "session/encoder_plan.hpp"
#include "session/statistics.hpp"

namespace quillon {
namespace {

TEST(EncoderPlan, FollowsQualityAndLink) {
    SessionConfig config;
    config.quality = StreamQuality::balanced;
    EncoderSettings plan = encoderPlan(config, "USB");
    EXPECT_EQ(plan.width, 1536);
    EXPECT_EQ(plan.height, 1152);
    EXPECT_EQ(plan.bitrate, 10'000'000);
    EXPECT_EQ(encoderPlan(config, "Wi-Fi (10.0.0.2)").bitrate, 8'000'000);
    config.quality = StreamQuality::fast;
    EXPECT_EQ(encoderPlan(config, "Wi-Fi (10.0.0.2)").bitrate, 6'000'000);
}

TEST(EncoderPlan, TheKeyframeIntervalIsFixedOverUSB) {
    SessionConfig config;
    config.keyframeSeconds = 7;
    EXPECT_EQ(encoderPlan(config, "USB").keyframeSeconds, 2);
    EXPECT_EQ(encoderPlan(config, "USB link (169.254.1.1)").keyframeSeconds, 2);
    EXPECT_EQ(encoderPlan(config, "Wi-Fi (10.0.0.2)").keyframeSeconds, 7);
}

TEST(EncoderPlan, SidesAreTruncatedEvenAndAtLeastTwo) {
    EXPECT_EQ(encodedSide(3, 0.5), 2);
    EXPECT_EQ(encodedSide(2002, 0.5), 1000) << "1001 becomes even";
    EXPECT_EQ(encodedSide(1252, 0.8), 1000) << "1001.6 is truncated, then made even";
    EXPECT_EQ(encodedSide(0, 1), 2);
    EXPECT_EQ(encodedSide(-100, 1), 2);
    EXPECT_EQ(encodedSide(std::numeric_limits<int64_t>::max(), 1) % 2, 0);
    EXPECT_GT(encodedSide(std::numeric_limits<int64_t>::max(), 1), 0);
}

TEST(EncoderPlan, AbsurdNumbersAreKeptWithinReason) {
    SessionConfig config;
    config.fps = -5;
    config.wifiBitrate = -1;
    config.keyframeSeconds = std::numeric_limits<int64_t>::min();
    const EncoderSettings plan = encoderPlan(config, "Wi-Fi (10.0.0.2)");
    EXPECT_EQ(plan.fps, 1);
    EXPECT_EQ(plan.bitrate, 1);
    EXPECT_EQ(plan.keyframeSeconds, 1);
}

TEST(StatisticsTest, OneSampleASecond) {
    Statistics statistics;
    Instant now{};
    statistics.begin(now);
    std::optional<SessionStats> sample;
    for (int frame = 1; frame <= 30; ++frame) {
        now = frame == 30 ? Instant(1s) : now + 33ms;
        sample = statistics.record(now, 50000, 4);
        if (frame < 30) {
            EXPECT_FALSE(sample);
        }
    }
    ASSERT_TRUE(sample);
    EXPECT_DOUBLE_EQ(sample->fps, 30.0);
    EXPECT_DOUBLE_EQ(sample->mbps, 12.0);
    EXPECT_FALSE(sample->latencyP50);
    EXPECT_EQ(sample->drops, 4);
}

TEST(StatisticsTest, TheMedianIsTheUpperOneOfRecentSamples) {
    Statistics statistics;
    const Instant now{10s};
    for (const double each : {10.0, 30.0, 20.0}) statistics.addLatency(now, each);
    EXPECT_EQ(statistics.record(now, 1, 0)->latencyP50, 20);
    statistics.addLatency(now, 40);
    EXPECT_EQ(statistics.record(now + 1s, 1, 0)->latencyP50, 30);
    EXPECT_FALSE(statistics.record(now + 2s, 1, 0)->latencyP50) << "two seconds old is too old";
}

TEST(CursorOn, IsAFractionOfTheDisplay) {
    const Rect display{1920, 100, 1000, 500};
    EXPECT_TRUE(cursorOn(display, {1920, 100}).visible);
    EXPECT_DOUBLE_EQ(cursorOn(display, {2420, 350}).x, 0.5);
    EXPECT_DOUBLE_EQ(cursorOn(display, {2420, 350}).y, 0.5);
    EXPECT_FALSE(cursorOn(display, {2920, 350}).visible) << "the right edge lies outside";
    EXPECT_DOUBLE_EQ(cursorOn(display, {9999, -9999}).x, 1);
    EXPECT_DOUBLE_EQ(cursorOn(display, {9999, -9999}).y, 0);
    EXPECT_DOUBLE_EQ(cursorOn({0, 0, 0, 0}, {0.25, 3}).x, 0.25) << "no width, no scale";
    EXPECT_DOUBLE_EQ(cursorOn({0, 0, 0, 0}, {0.25, 3}).y, 1);
}

}  // namespace
}  // namespace quillon
