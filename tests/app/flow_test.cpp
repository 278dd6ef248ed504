#include "app/flow.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

constexpr Instant kStart{std::chrono::hours(1)};

TEST(FlowTextTest, TellsLinkRateLatencyAndDrops) {
    EXPECT_EQ(flowText("USB", {29.97, 17.84, 12.4, 3}), "USB · 30 fps · 17.8 Mbps · p50 12 ms · drops 3");
    EXPECT_EQ(flowText("Wi-Fi (10.0.0.2)", {0, 0, std::nullopt, 0}),
              "Wi-Fi (10.0.0.2) · 0 fps · 0.0 Mbps · p50 n/a · drops 0");
}

TEST(FlowLogTest, AGoodStreamHasALineAMinute) {
    FlowLog log;
    int lines = 0;
    for (int second = 0; second < 180; ++second) {
        lines += log.isDue(kStart + second * 1s, {30, 10, 12, 5}) ? 1 : 0;
    }
    EXPECT_EQ(lines, 3);
}

TEST(FlowLogTest, DropsHaveALineAtOnceAndThenOneInTenSeconds) {
    FlowLog log;
    EXPECT_TRUE(log.isDue(kStart, {30, 10, 12, 0}));
    EXPECT_FALSE(log.isDue(kStart + 10s, {30, 10, 12, 3})) << "a tenth is no trouble";
    EXPECT_TRUE(log.isDue(kStart + 11s, {30, 10, 12, 7}));
    EXPECT_FALSE(log.isDue(kStart + 12s, {30, 10, 12, 30}));
    EXPECT_FALSE(log.isDue(kStart + 21s, {30, 10, 12, 30})) << "the drops are those of before";
    EXPECT_TRUE(log.isDue(kStart + 22s, {30, 10, 12, 60}));
}

TEST(FlowLogTest, ALongRoundTripIsTrouble) {
    FlowLog log;
    EXPECT_TRUE(log.isDue(kStart, {30, 10, 12, 0}));
    EXPECT_FALSE(log.isDue(kStart + 10s, {30, 10, 150, 0}));
    EXPECT_TRUE(log.isDue(kStart + 11s, {30, 10, 151, 0}));
}

TEST(FlowLogTest, ANewStreamBeginsWithALine) {
    FlowLog log;
    EXPECT_TRUE(log.isDue(kStart, {}));
    EXPECT_FALSE(log.isDue(kStart + 1s, {}));
    log.reset();
    EXPECT_TRUE(log.isDue(kStart + 2s, {}));
}

}  // namespace
}  // namespace quillon
