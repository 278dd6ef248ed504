#include "app/host_lines.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

TEST(HostLinesTest, EachStateHasItsWords) {
    EXPECT_EQ(stateLine(SessionState::running("Virtual display 2048×1536")),
              "[session] Virtual display 2048×1536");
    EXPECT_EQ(stateLine(SessionState::running("")), "[session] ");
    EXPECT_EQ(stateLine(SessionState::failed("iPad not reachable")), "[session] Failed: iPad not reachable");
    EXPECT_EQ(stateLine(SessionState::idle()), "[session] Stopped");
    EXPECT_EQ(stateLine(SessionState::starting()), "[session] Starting\xE2\x80\xA6");
}

TEST(HostLinesTest, StatisticsAreRoundedAndMayLackALatency) {
    EXPECT_EQ(statisticsLine({29.96, 12.345, 8.25, 3}),
              "[host] 30.0 fps   12.35 Mbps   latency p50 8.2 ms   drops 3");
    EXPECT_EQ(statisticsLine({}), "[host] 0.0 fps   0.00 Mbps   latency n/a   drops 0");
    EXPECT_EQ(statisticsLine({60, 18, 0.0, -1}),
              "[host] 60.0 fps   18.00 Mbps   latency p50 0.0 ms   drops -1");
}

TEST(HostLinesTest, StatesAreComparedWithTheirText) {
    EXPECT_EQ(SessionState::failed("x"), SessionState::failed("x"));
    EXPECT_NE(SessionState::failed("x"), SessionState::failed("y"));
    EXPECT_NE(SessionState::failed("x"), SessionState::running("x"));
    EXPECT_NE(SessionState::idle(), SessionState::starting());
}

}  // namespace
}  // namespace quillon
