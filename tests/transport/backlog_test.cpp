#include "transport/backlog.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

/// A link of so many bytes a second that was busy for a second.
SendProgress busyForASecond(int64_t bytesPerSecond) {
    return {.acknowledged = bytesPerSecond, .busy = 1s};
}

/// The most bytes of this kind with which another frame is allowed.
int most(Backlog& backlog, SendProgress progress, int SendProgress::*kind) {
    for (progress.*kind = 0; progress.*kind < 1'000'000; ++(progress.*kind)) {
        if (!backlog.allowsFrame(progress)) return progress.*kind - 1;
    }
    return progress.*kind;
}

TEST(BacklogTest, ALinkThatHasNothingToDoTakesAFrame) {
    Backlog backlog;
    EXPECT_TRUE(backlog.allowsFrame({}));
}

TEST(BacklogTest, OfALinkOfUnknownSpeedAFewKilobytesAreAllowed) {
    Backlog backlog;
    EXPECT_EQ(most(backlog, {}, &SendProgress::unsent), 8 * 1024);
    EXPECT_EQ(most(backlog, {}, &SendProgress::inFlight), 8 * 1024);
    EXPECT_EQ(backlog.speed(), std::nullopt);
}

TEST(BacklogTest, TheSpeedIsWhatWasAcknowledgedWhileTheLinkWasBusy) {
    Backlog backlog;
    backlog.allowsFrame({.acknowledged = 1000, .busy = 99ms});
    EXPECT_EQ(backlog.speed(), std::nullopt) << "too short a time to tell";
    backlog.allowsFrame({.acknowledged = 12'500, .busy = 100ms});
    EXPECT_DOUBLE_EQ(backlog.speed().value(), 125'000);
    backlog.allowsFrame({.acknowledged = 12'500 + 500'000, .busy = 1100ms});
    EXPECT_DOUBLE_EQ(backlog.speed().value(), 500'000);
}

TEST(BacklogTest, NoMoreMayWaitThanTheLinkTakesInTwelveMilliseconds) {
    Backlog backlog;
    SendProgress progress = busyForASecond(1'000'000);
    EXPECT_EQ(most(backlog, progress, &SendProgress::unsent), 12'000);
    EXPECT_EQ(most(backlog, progress, &SendProgress::inFlight), 12'000);
    progress.unsent = 5000;
    EXPECT_EQ(most(backlog, progress, &SendProgress::inFlight), 7000);
}

TEST(BacklogTest, OnTheSlowestLinkTwoPacketsMayWait) {
    Backlog backlog;
    EXPECT_EQ(most(backlog, busyForASecond(10'000), &SendProgress::inFlight), 3000);
}

TEST(BacklogTest, OnAFastLinkTheBytesCount) {
    Backlog backlog;
    EXPECT_EQ(most(backlog, busyForASecond(10'000'000), &SendProgress::inFlight), 24 * 1024);
}

TEST(BacklogTest, WhatThePathHoldsDoesNotCount) {
    Backlog backlog;
    SendProgress progress = busyForASecond(10'000'000);
    progress.shortestRoundTrip = 20ms;
    EXPECT_EQ(most(backlog, progress, &SendProgress::inFlight), 200'000 + 24 * 1024);
    EXPECT_EQ(most(backlog, progress, &SendProgress::unsent), 24 * 1024);
}

TEST(BacklogTest, ALinkThatStallsTakesNothingUntilItHasLittleToDo) {
    Backlog backlog;
    backlog.allowsFrame(busyForASecond(1'000'000));
    const SendProgress stalled{.inFlight = 12'000, .acknowledged = 1'000'000, .busy = 4s};
    EXPECT_FALSE(backlog.allowsFrame(stalled));
    EXPECT_EQ(backlog.speed(), 0.0);
    SendProgress resumed = stalled;
    resumed.inFlight = 0;
    resumed.acknowledged += 12'000;
    EXPECT_TRUE(backlog.allowsFrame(resumed));
}

}  // namespace
}  // namespace quillon
