#include <gmock/gmock.h>

#include <limits>

#include "tests/session/session_fixture.hpp"

namespace quillon {
namespace {

using testing::Contains;
using testing::ElementsAre;

TEST_F(SessionTest, StreamsToACabledDevice) {
    const auto device = machine.attachDevice("tablet-1");
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->state(), Session::State::running("Mirroring main display · USB"));
    ASSERT_TRUE(eventually([&] { return device->counts[2] >= 1; }));
    run(1s);
    EXPECT_THAT(states, ElementsAre(Session::State::starting(),
                                    Session::State::running("Mirroring main display · USB")));
}

TEST_F(SessionTest, SendsTheFirstMessagesInTheirOrder) {
    const auto device = machine.attachDevice("tablet-1");
    session->start(mirroring());
    ASSERT_TRUE(eventually([&] { return device->counts[2] >= 1; }));
    std::vector<int> types;
    for (const auto& message : device->messages) types.push_back(message.type);
    // The pointer may speak as soon as capture runs.
    std::erase(types, 6);
    EXPECT_THAT(types, ElementsAre(7, 8, 10, 5, 1, 2));
    EXPECT_EQ(device->messages[0].text(), "USB");
    EXPECT_EQ(device->messages[1].text(), "Mirror | Smooth Off | Fit");
    EXPECT_EQ(device->messages[2].payload, Bytes{1});
    EXPECT_EQ(device->messages[3].payload, Bytes{0});
}

TEST_F(SessionTest, LogsTheStartUp) {
    machine.attachDevice("tablet-1")->greeting = "Tablet 2 Tablet13,8 2388x1668\n";
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_THAT(log(),
                ElementsAre("mode=mirror, capturing display 1",  //
                            "client protocol 2, ping supported", "panel 2388x1668",
                            "canvas options: ", "prefs for USB: quality Best, smooth 0",
                            "quality Best: 2388x1668, 18 Mbps (USB)", "link established over USB",
                            "keyframe interval 2s", "settings line: Mirror | Smooth Off | Fit (fd=1000)",
                            "accessibility=true", "scaling: Fit (bars) (automatic for this panel's shape)",
                            "capture running: Mirroring main display · USB"));
}

TEST_F(SessionTest, RemembersTheDevice) {
    machine.attachDevice("tablet-1")->greeting = "Tablet 2 Tablet13,8 2388x1668\n";
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.stored.string("lastDeviceModel"), "Tablet13,8");
    EXPECT_EQ(machine.stored.string("lastDeviceID"), "tablet-1");
    EXPECT_EQ(machine.stored.string("deviceModel.tablet-1"), "Tablet13,8");
}

TEST_F(SessionTest, WithoutAModelNothingIsRemembered) {
    machine.attachDevice("tablet-1")->greeting = "Tablet 2 2388x1668\n";
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_TRUE(machine.stored.values.empty());
}

TEST_F(SessionTest, StartWhileRunningDoesNothing) {
    const auto device = machine.attachDevice("tablet-1");
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    session->start(mirroring());
    run(5s);
    EXPECT_EQ(device->connectedAt.size(), 1U);
    EXPECT_TRUE(session->state().isRunning());
}

TEST_F(SessionTest, StartAfterFailureStartsAgain) {
    session->start(mirroring());
    ASSERT_TRUE(eventually([&] { return session->state().kind == Session::State::Kind::failed; }));
    const auto device = machine.attachDevice("tablet-1");
    session->start(mirroring());
    EXPECT_EQ(session->state(), Session::State::starting());
    ASSERT_TRUE(eventuallyRunning());
    run(30s);
    EXPECT_EQ(device->connectedAt.size(), 1U) << "the retry of the failed start must not run as well";
}

TEST_F(SessionTest, TwoStartsInARowMakeOneLink) {
    const auto device = machine.attachDevice("tablet-1");
    session->start(mirroring());
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    run(10s);
    EXPECT_EQ(machine.network.openDescriptors(), 1U);
    EXPECT_EQ(machine.screenCapture.streams, 1);
}

TEST_F(SessionTest, StopRightAfterStartLeavesNothing) {
    const auto device = machine.attachDevice("tablet-1");
    session->start(mirroring());
    session->stop();
    run(20s);
    EXPECT_EQ(session->state(), Session::State::idle());
    EXPECT_TRUE(device->connectedAt.empty());
}

TEST_F(SessionTest, StopAtAnyMomentOfTheStartUpLeavesNothing) {
    for (Duration moment = 0ms; moment < 60ms; moment += 1ms) {
        simulated::SimulatedPlatform other;
        const auto device = other.attachDevice("tablet-1");
        const auto started = Session::make(other);
        started->start(mirroring());
        other.loop.runFor(moment);
        started->stop();
        other.loop.runFor(20s);
        EXPECT_EQ(started->state(), Session::State::idle());
        EXPECT_EQ(other.network.openDescriptors(), 0U) << toMilliseconds(moment);
        EXPECT_EQ(other.screenCapture.streams, 0) << toMilliseconds(moment);
        EXPECT_EQ(other.encoder.living, 0) << toMilliseconds(moment);
        EXPECT_EQ(other.machine.liveThreads(), 0U) << toMilliseconds(moment);
    }
}

TEST_F(SessionTest, DestructionAtAnyMomentLeavesNothing) {
    for (Duration moment = 0ms; moment < 60ms; moment += 1ms) {
        simulated::SimulatedPlatform other;
        const auto device = other.attachDevice("tablet-1");
        auto started = Session::make(other);
        started->start(mirroring());
        other.loop.runFor(moment);
        started.reset();
        other.loop.runFor(20s);
        EXPECT_EQ(other.network.openDescriptors(), 0U) << toMilliseconds(moment);
        EXPECT_EQ(other.screenCapture.streams, 0) << toMilliseconds(moment);
        EXPECT_EQ(other.encoder.living, 0) << toMilliseconds(moment);
    }
}

TEST_F(SessionTest, RestartWhileATransitionRunsIsRefused) {
    const auto device = machine.attachDevice("tablet-1");
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    session->restart();
    session->restart();
    EXPECT_EQ(logged("transition already in progress, ignoring"), 1);
    ASSERT_TRUE(eventuallyRunning());
    run(5s);
    EXPECT_EQ(device->connectedAt.size(), 2U);
    EXPECT_FALSE(session->isTransitioning());
}

TEST_F(SessionTest, RestartPausesBeforeItConnectsAgain) {
    const auto device = machine.attachDevice("tablet-1");
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    const Instant asked = machine.machine.now();
    session->restart();
    EXPECT_EQ(session->state(), Session::State::starting());
    ASSERT_TRUE(eventuallyRunning());
    ASSERT_EQ(device->connectedAt.size(), 2U);
    EXPECT_GE(device->connectedAt[1] - asked, 800ms);
    EXPECT_LE(device->connectedAt[1] - asked, 900ms);
}

TEST_F(SessionTest, WithoutADeviceItFailsAfterTenAttempts) {
    session->start(mirroring());
    const Instant began = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return session->state().kind == Session::State::Kind::failed; }));
    EXPECT_EQ(session->state(), Session::State::failed("iPad not reachable"));
    EXPECT_EQ(logged("USB connect failed, will retry"), 1);
    EXPECT_NEAR(toSeconds(machine.machine.now() - began), 9 * 0.6, 0.05);
    EXPECT_EQ(machine.services.searches, 0) << "a cabled session does not look on the network";
    EXPECT_FALSE(session->isTransitioning());
}

TEST_F(SessionTest, ARefusedDeviceIsTriedAgainUntilItListens) {
    const auto device = machine.attachDevice("tablet-1");
    machine.usb.attached[0].ports[5555].answer = simulated::Listener::Answer::refuses;
    session->start(mirroring());
    run(3s);
    EXPECT_EQ(session->state(), Session::State::starting());
    machine.usb.attached[0].ports[5555].answer = simulated::Listener::Answer::accepts;
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(device->connectedAt.size(), 1U);
}

TEST_F(SessionTest, ADeviceThatNeverGreetsIsGivenUpAfterFourSeconds) {
    const auto device = machine.attachDevice("tablet-1");
    device->greeting.clear();
    device->keepAliveInterval = Duration::zero();
    session->start(mirroring());
    run(4500ms);
    EXPECT_EQ(logged("usb connect timed out after 4s"), 1);
    EXPECT_EQ(session->state(), Session::State::starting());
}

TEST_F(SessionTest, AnEncoderThatCannotBeMadeEndsTheRunWithoutRetry) {
    const auto device = machine.attachDevice("tablet-1");
    machine.encoder.refuses = true;
    session->start(mirroring());
    ASSERT_TRUE(eventually([&] { return session->state().kind == Session::State::Kind::failed; }));
    EXPECT_EQ(session->state(), Session::State::failed("encoder: VTCompressionSessionCreate failed: -12902"));
    EXPECT_EQ(machine.network.openDescriptors(), 0U);
    run(60s);
    EXPECT_EQ(device->connectedAt.size(), 1U);
}

TEST_F(SessionTest, WithoutVirtualDisplaysItSaysSoAndTriesAgain) {
    machine.attachDevice("tablet-1");
    machine.virtualScreens.offered = false;
    Session::Config config = mirroring();
    config.mirror = false;
    session->start(config);
    const int& attempts = machine.virtualScreens.attempts;
    ASSERT_TRUE(eventually([&] { return attempts == 1; }));
    const Instant begin = machine.machine.now();
    const auto elapsed = [&] { return machine.machine.now() - begin; };
    ASSERT_TRUE(eventually([&] { return session->state().kind == Session::State::Kind::failed; }));
    EXPECT_EQ(elapsed(), 8 * 900ms) << "each attempt is followed by a rest";
    EXPECT_EQ(attempts, 8);
    EXPECT_EQ(session->state(), Session::State::failed("CGVirtualDisplay unavailable"));
    EXPECT_EQ(logged("virtual display create attempt 1 failed"), 1);
    EXPECT_EQ(logged("virtual display create attempt 8 failed"), 1);
    EXPECT_EQ(loggedBeginning("virtual display create attempt"), 8);
    EXPECT_EQ(logged("CGVirtualDisplay unavailable, retrying shortly"), 1);
    ASSERT_TRUE(eventually([&] { return attempts == 9; })) << "the whole start is tried again";
    EXPECT_GE(elapsed(), 8 * 900ms + 5s);
    EXPECT_LT(elapsed(), 8 * 900ms + 5500ms);
}

TEST_F(SessionTest, ALeftoverDisplayIsAdopted) {
    machine.attachDevice("tablet-1");
    machine.virtualScreens.offered = false;
    machine.screens.all.push_back({77, {1920, 0, 1024, 768}, {1452, 4096}, {}, {}, {}});
    Session::Config config = mirroring();
    config.mirror = false;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(logged("adopted existing Quillon display 77"), 1);
    EXPECT_EQ(logged("mode=extend, capturing display 77"), 1);
    EXPECT_EQ(session->state(), Session::State::running("iPad display 1024×768 · USB"));
}

TEST_F(SessionTest, TheMainDisplayIsNeverAdopted) {
    machine.virtualScreens.offered = false;
    machine.screens.all[0].identity = {1452, 4096};
    Session::Config config = mirroring();
    config.mirror = false;
    session->start(config);
    ASSERT_TRUE(eventually([&] { return session->state().kind == Session::State::Kind::failed; }));
    EXPECT_EQ(loggedBeginning("adopted"), 0);
}

TEST_F(SessionTest, StopKeepsTheVirtualDisplayForTheNextStart) {
    machine.attachDevice("tablet-1");
    Session::Config config = mirroring();
    config.mirror = false;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.virtualScreens.living, 1);
    session->stop();
    run(5s);
    EXPECT_EQ(machine.virtualScreens.living, 1);
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.virtualScreens.attempts, 1);
}

TEST_F(SessionTest, AVirtualDisplayThatTheSystemTookAwayIsMadeAnew) {
    machine.attachDevice("tablet-1");
    Session::Config config = mirroring();
    config.mirror = false;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    session->stop();
    run(5s);
    machine.screens.all.pop_back();
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.virtualScreens.attempts, 2);
    EXPECT_EQ(machine.virtualScreens.living, 1);
    EXPECT_EQ(machine.screens.all.size(), 2u);
}

TEST_F(SessionTest, StopMovesWindowsOffTheVirtualDisplay) {
    machine.attachDevice("tablet-1");
    machine.desktopWindows.windows = {{1, {2000, 100, 400, 300}}, {2, {100, 100, 400, 300}}};
    Session::Config config = mirroring();
    config.mirror = false;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    session->stop();
    EXPECT_EQ(machine.desktopWindows.windows[0].frame, (Rect{60, 60, 400, 300}));
    EXPECT_EQ(machine.desktopWindows.windows[1].frame, (Rect{100, 100, 400, 300}));
    EXPECT_EQ(logged("moved 1 window(s) back to the main display"), 1);
}

TEST_F(SessionTest, TheCapturedDisplayIsChosenByItsIndexWithoutAVirtualOne) {
    machine.attachDevice("tablet-1");
    machine.screens.all.push_back({2, {1920, 0, 1280, 1024}, {}, {}, {}, {}});
    Session::Config config = mirroring();
    config.mirror = false;
    config.virtual_ = false;
    config.displayIndex = 1;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    ASSERT_EQ(machine.screenCapture.requests.size(), 1U);
    EXPECT_EQ(machine.screenCapture.requests[0].display, 2U);
}

TEST_F(SessionTest, TheDurationEndsTheRun) {
    machine.attachDevice("tablet-1");
    Session::Config config = mirroring();
    config.duration = 10;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    run(9s);
    EXPECT_TRUE(session->state().isRunning());
    run(1500ms);
    EXPECT_EQ(session->state(), Session::State::idle());
}

TEST_F(SessionTest, AnAbsurdDurationIsJustLong) {
    machine.attachDevice("tablet-1");
    Session::Config config = mirroring();
    config.duration = std::numeric_limits<int64_t>::max();
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    run(60s);
    EXPECT_TRUE(session->state().isRunning());
}

TEST_F(SessionTest, ThePatternNeedsNoDisplay) {
    const auto device = machine.attachDevice("tablet-1");
    machine.screens.all.clear();
    Session::Config config = mirroring();
    config.usePattern = true;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->state(), Session::State::running("Test pattern 2048×1536"));
    run(2s);
    EXPECT_NEAR(device->counts[2], 60, 3);
    EXPECT_EQ(machine.screenCapture.requests.size(), 0U);
    EXPECT_FALSE(session->isTransitioning());
}

TEST_F(SessionTest, MissingControlPermissionIsAskedFor) {
    machine.attachDevice("tablet-1");
    machine.allowed.control = false;
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.allowed.controlRequests, 1);
    EXPECT_EQ(logged("accessibility=false"), 1);
}

TEST_F(SessionTest, MissingCapturePermissionIsAskedForAndCaptureTriedAnyway) {
    machine.attachDevice("tablet-1");
    machine.allowed.capture = false;
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.allowed.captureRequests, 1);
    EXPECT_EQ(logged("Screen Recording not granted; requesting"), 1);
}

TEST_F(SessionTest, AFailedCaptureIsReportedAndTriedAgain) {
    const auto device = machine.attachDevice("tablet-1");
    machine.screenCapture.startFailure = "no screen to be had";
    session->start(mirroring());
    ASSERT_TRUE(eventually([&] { return session->state().kind == Session::State::Kind::failed; }));
    EXPECT_EQ(session->state(), Session::State::failed("capture: no screen to be had"));
    EXPECT_EQ(logged("capture failed: no screen to be had"), 1);
    machine.screenCapture.startFailure.clear();
    const Instant failed = machine.machine.now();
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_GE(machine.machine.now() - failed, 4s);
    EXPECT_LE(machine.machine.now() - failed, 4500ms);
    EXPECT_EQ(machine.network.openDescriptors(), 1U) << "the first link was given back";
}

TEST_F(SessionTest, AVanishedScreenIsReportedAndTriedAgain) {
    machine.attachDevice("tablet-1");
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    machine.screenCapture.end("the X server is gone");
    ASSERT_TRUE(eventually([&] { return session->state().kind == Session::State::Kind::failed; }));
    EXPECT_EQ(session->state(), Session::State::failed("capture: the X server is gone"));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.screenCapture.streams, 1);
}

/// A session whose capture takes two seconds to begin, and is made to begin again half a second after the
/// first time.
class LateCaptureTest : public RunningSessionTest, public testing::WithParamInterface<const char*> {
  protected:
    LateCaptureTest() { machine.screenCapture.startDelay = 2s; }

    void beginTwice() {
        session->start(mirroring());
        run(500ms);
        ASSERT_EQ(machine.screenCapture.requests.size(), 1U);
        if (GetParam() == std::string("stop")) {
            session->stop();
            session->start(mirroring());
        } else {
            session->restart();
        }
    }
};

TEST_P(LateCaptureTest, ACaptureThatComesAfterANewerStartUpIsEnded) {
    beginTwice();
    ASSERT_TRUE(eventually([&] { return logged("stale capture task finished, ignoring") == 1; }));
    EXPECT_EQ(session->state(), Session::State::starting());
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_EQ(logged("stale capture task finished, ignoring"), 1);
    EXPECT_EQ(loggedBeginning("capture running"), 1);
    EXPECT_EQ(machine.screenCapture.streams, 1);
    EXPECT_EQ(machine.encoder.living, 1);
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

TEST_P(LateCaptureTest, ACaptureThatFailsAfterANewerStartUpChangesNothing) {
    beginTwice();
    machine.screenCapture.startFailure = "too late";
    run(1600ms);
    EXPECT_EQ(session->state(), Session::State::starting());
    machine.screenCapture.startFailure.clear();
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_EQ(loggedBeginning("capture failed"), 0);
    EXPECT_EQ(logged("stale capture task finished, ignoring"), 0);
    EXPECT_EQ(device->connectedAt.size(), 2U) << "no retry";
}

INSTANTIATE_TEST_SUITE_P(Again, LateCaptureTest, testing::Values("stop", "restart"),
                         [](const auto& way) { return std::string(way.param); });

TEST_F(SessionTest, ALateCaptureFailureOfAnEarlierRunIsDropped) {
    machine.attachDevice("tablet-1");
    machine.screenCapture.startDelay = 2s;
    machine.screenCapture.startFailure = "too late";
    session->start(mirroring());
    run(500ms);
    ASSERT_FALSE(machine.screenCapture.requests.empty());
    session->stop();
    run(20s);
    EXPECT_EQ(session->state(), Session::State::idle());
    EXPECT_EQ(loggedBeginning("capture failed"), 0);
}

}  // namespace
}  // namespace quillon
