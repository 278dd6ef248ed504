#include <gmock/gmock.h>

#include "tests/session/session_fixture.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {
namespace {

using testing::Contains;
using testing::ElementsAre;

/// A session that extends the desktop by a virtual display, which always gets the identifier 101.
class ArrangingTest : public SessionTest {
  protected:
    static constexpr DisplayID kVirtual = 101;

    ArrangingTest() : device(machine.attachDevice("tablet-1")) { machine.virtualScreens.hiDPI = false; }

    static Session::Config extending() {
        Session::Config config;
        config.transport = Transport::usb;
        return config;
    }
    void start(const Session::Config& config) {
        session->start(config);
        ASSERT_TRUE(eventuallyRunning());
        run(100ms);
    }
    void report(std::string_view panel) { device->send(12, viewOf(panel)); }

    simulated::SimulatedDisplays::Display& display() { return *machine.screens.find(kVirtual); }
    Size mode() { return {display().current->width, display().current->height}; }
    size_t links() const { return device->connectedAt.size(); }
    Point touch(float x, float y) {
        device->send(4, wire::inputPayload({wire::Input::press, x, y, 0, 0}));
        const size_t before = machine.mouse.posted.size();
        EXPECT_TRUE(eventually([&] { return machine.mouse.posted.size() > before; }));
        return machine.mouse.posted.back().place;
    }

    const std::shared_ptr<simulated::Device> device;
};

// --- the start

TEST_F(ArrangingTest, TheStartSelectsTheModeAndPlacesTheDisplayBeforeItIsCaptured) {
    device->greeting = "Tablet 2 Tablet13,8\n";
    Session::Config config = extending();
    config.position = "left";
    start(config);
    EXPECT_EQ(mode(), (Size{1024, 768}));
    EXPECT_EQ(display().bounds, (Rect{-1024, 0, 1024, 768}));
    const auto lines = log();
    EXPECT_THAT(std::vector(lines.begin(), lines.begin() + 4),
                ElementsAre("mode set 1024x768pt @1x", "HiDPI unavailable for this size (macOS refused 2x)",
                            "display 101 positioned left at -1024,0 -> bounds (-1024.0, 0.0, 1024.0, 768.0)",
                            "mode=extend, capturing display 101"));
}

TEST_F(ArrangingTest, TwiceTheDensityIsTakenWhereItIsOffered) {
    machine.virtualScreens.hiDPI = true;
    device->greeting = "Tablet 2 Tablet13,8\n";
    start(extending());
    EXPECT_EQ(display().current->pixelWidth, 2048);
    EXPECT_EQ(logged("mode set 1024x768pt @2x"), 1);
    EXPECT_EQ(logged("HiDPI active"), 1);
    run(20s);
    EXPECT_EQ(logged("mode set 1024x768pt @2x"), 1);
    EXPECT_EQ(logged("HiDPI active"), 1);
}

TEST_F(ArrangingTest, ASizeWithoutTwiceTheDensitySaysSoOnce) {
    machine.virtualScreens.hiDPI = true;
    device->greeting = "Tablet 2 Tablet13,8\n";
    start(extending());
    display().modes.push_back({1366, 1000, 1366, 1000, 99});
    session->setResolution(1366, 1000);
    run(20s);
    EXPECT_EQ(mode(), (Size{1366, 1000}));
    EXPECT_EQ(logged("HiDPI unavailable for this size (macOS refused 2x)"), 1);
    session->setResolution(1024, 768);
    run(20s);
    EXPECT_EQ(logged("HiDPI active"), 2);
}

TEST_F(ArrangingTest, AModeThatIsInForceIsNotSetAgain) {
    device->greeting = "Tablet 2 Tablet13,8\n";
    start(extending());
    const int changes = machine.screens.modeChanges;
    run(60s);
    EXPECT_EQ(machine.screens.modeChanges, changes);
    EXPECT_EQ(machine.screens.moves, 1);
}

TEST_F(ArrangingTest, AStaleMirrorIsBrokenBeforeTheDisplayIsPlaced) {
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return machine.screens.find(kVirtual) != nullptr; }));
    display().mirroring = {true, 1};
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_FALSE(display().mirroring.inMirrorSet);
    EXPECT_EQ(logged("broke stale mirror on display 101"), 1);
}

TEST_F(ArrangingTest, WhatTheSystemRefusesIsLeftAsItIs) {
    machine.screens.refusesConfiguration = true;
    start(extending());
    EXPECT_EQ(loggedBeginning("mode set"), 0);
    EXPECT_EQ(logged("display 101 positioned right at 1920,0 -> bounds (1920.0, 0.0, 2048.0, 1536.0)"), 2)
        << "at the start and by the panel, with the place that was meant";
    EXPECT_TRUE(session->state().isRunning());
}

TEST_F(ArrangingTest, ADisplayWithoutModesIsCapturedAsItIs) {
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return machine.screens.find(kVirtual) != nullptr; }));
    display().modes.clear();
    ASSERT_TRUE(eventuallyRunning());
    run(10s);
    EXPECT_TRUE(session->availableResolutions().empty());
    EXPECT_EQ(logged("canvas options: "), 1);
    EXPECT_EQ(loggedBeginning("raw modes"), 0);
    EXPECT_EQ(loggedBeginning("mode set"), 0);
}

// --- enforcement

TEST_F(ArrangingTest, AModeThatSomethingElseSetIsPutBackWithinTwoSeconds) {
    start(extending());
    run(5s);
    for (int round = 0; round < 3; ++round) {
        machine.screens.setMode(kVirtual, {1024, 768, 1024, 768, 8});
        const Instant changed = machine.machine.now();
        ASSERT_TRUE(eventually([&] { return mode() == Size{1600, 1200}; }));
        EXPECT_LE(machine.machine.now() - changed, 2s);
        run(700ms);
    }
    EXPECT_EQ(logged("mode set 1600x1200pt @1x"), 3);
    EXPECT_EQ(links(), 1U);
}

TEST_F(ArrangingTest, AnAdoptedDisplayIsArrangedButNotEnforced) {
    machine.virtualScreens.offered = false;
    machine.screens.all.push_back({77,
                                   {1920, 0, 800, 600},
                                   {1452, 4096},
                                   {{800, 600, 800, 600, 1}, {1024, 768, 1024, 768, 2}},
                                   {},
                                   {}});
    device->greeting = "Tablet 2 Tablet13,8\n";
    Session::Config config = extending();
    config.position = "below";
    start(config);
    EXPECT_EQ(machine.screens.find(77)->bounds, (Rect{0, 1080, 1024, 768}));
    machine.screens.setMode(77, {800, 600, 800, 600, 1});
    run(20s);
    EXPECT_EQ(machine.screens.find(77)->bounds.width, 800);
}

TEST_F(ArrangingTest, AnAdoptedDisplayIsKeptByTheNextStart) {
    machine.virtualScreens.offered = false;
    machine.screens.all.push_back({77, {1920, 0, 1024, 768}, {1452, 4096}, {}, {}, {}});
    start(extending());
    session->restart();
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.virtualScreens.attempts, 8);
    EXPECT_EQ(logged("adopted existing Quillon display 77"), 1);
}

TEST_F(ArrangingTest, EnforcementEndsWithTheRun) {
    start(extending());
    session->stop();
    machine.screens.setMode(kVirtual, {1024, 768, 1024, 768, 8});
    run(20s);
    EXPECT_EQ(mode(), (Size{1024, 768}));
}

TEST_F(ArrangingTest, ASlowDisplayServerIsNotGivenMoreAndMoreToDo) {
    start(extending());
    machine.screens.configurationTime = 30s;
    machine.screens.find(kVirtual)->current->width = 1;
    const int changes = machine.screens.modeChanges;
    run(100s);
    EXPECT_EQ(machine.screens.modeChanges, changes + 1);
}

TEST_F(ArrangingTest, ATransitionThatNeverEndsIsClearedAfter45Seconds) {
    Session::Config config = extending();
    config.transport = Transport::auto_;
    start(config);
    // Each of the ten attempts waits four seconds for a greeting and looks three on the network.
    device->greeting.clear();
    device->keepAliveInterval = Duration::zero();
    session->restart();
    const Instant began = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return !session->isTransitioning(); }, 90s));
    EXPECT_EQ(logged("transition watchdog fired, clearing"), 1);
    EXPECT_GT(machine.machine.now() - began, 45s);
    EXPECT_LE(machine.machine.now() - began, 47s);
}

TEST_F(ArrangingTest, TheClearedTransitionRunsWhatWaitedForIt) {
    Session::Config config = extending();
    config.transport = Transport::auto_;
    start(config);
    device->greeting.clear();
    device->keepAliveInterval = Duration::zero();
    session->restart();
    session->setMirror(true);
    ASSERT_TRUE(eventually([&] { return logged("running queued switch to mirror") == 1; }, 90s));
    EXPECT_EQ(logged("transition watchdog fired, clearing"), 1);
    device->greeting = "Tablet 2 Tablet13,8 x 2048x1536\n";
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_EQ(machine.network.openDescriptors(), 1U);
    EXPECT_EQ(machine.screenCapture.streams, 1);
}

TEST_F(ArrangingTest, TheEndOfASessionWaitsForTheChangeThatRunsAndForNoOther) {
    start(extending());
    machine.screens.configurationTime = 1s;
    for (int i = 0; i < 10; ++i) session->setPosition(i % 2 == 0 ? "left" : "right");
    run(100ms);
    const Instant ended = machine.machine.now();
    session.reset();
    EXPECT_LE(machine.machine.now() - ended, 1s);
}

// --- the greeting's panel

TEST_F(ArrangingTest, TheDesktopFollowsTheGreetingsPanel) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    EXPECT_EQ(mode(), (Size{2048, 1536}));
    EXPECT_EQ(session->state(), Session::State::running("iPad display 2048×1536 · USB"));
    EXPECT_THAT(log(), Contains("desktop follows panel 2732x2048 (aspect 1.33 vs 1.33)"));
    EXPECT_THAT(log(), Contains("resolution set to 2048x1536 (capture 2732x2048)"));
    EXPECT_THAT(log(), Contains("canvas options: 1024x768, 1536x2048, 1600x1200, 1668x2388, 2048x1536, "
                                "2048x2732, 2388x1668, 2732x2048"));
    EXPECT_THAT(log(), Contains("raw modes: 1024x768, 1536x2048, 1600x1200, 1668x2388, 2048x1536, "
                                "2048x2732, 2388x1668, 2732x2048"));
    EXPECT_EQ(display().bounds, (Rect{1920, 0, 2048, 1536}));
    EXPECT_EQ(machine.encoder.settings.back().width, 2732);
}

TEST_F(ArrangingTest, AfterAChangeOfSizeTheDesktopIsGivenTimeToSettle) {
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return loggedBeginning("desktop follows panel") == 1; }));
    const Instant aligned = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return machine.screenCapture.requests.size() == 1; }));
    EXPECT_GE(machine.machine.now() - aligned, 600ms);
    EXPECT_LE(machine.machine.now() - aligned, 700ms);
}

TEST_F(ArrangingTest, ADesktopThatFitsThePanelNeedsNoTime) {
    Session::Config config = extending();
    config.virtualWidth = 1600;
    config.virtualHeight = 1200;
    session->start(config);
    ASSERT_TRUE(eventually([&] { return device->connectedAt.size() == 1; }));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_LE(machine.machine.now() - device->connectedAt[0], 100ms);
    EXPECT_EQ(loggedBeginning("desktop follows"), 0);
}

TEST_F(ArrangingTest, AResolutionThatIsNoLongerOfferedIsReset) {
    device->greeting = "Tablet 2 Tablet13,8\n";
    Session::Config config = extending();
    config.virtualWidth = 1366;
    config.virtualHeight = 1024;
    start(config);
    EXPECT_EQ(logged("desktop reset to 1600x1200 (not offered by this panel)"), 1);
    EXPECT_EQ(mode(), (Size{1600, 1200}));
    EXPECT_EQ(session->config().virtualSize(), (Size{1600, 1200}));
}

TEST_F(ArrangingTest, APanelTooSmallForAllModesLeavesTheDesktop) {
    device->greeting = "Tablet 2 Tablet13,8 x 800x600\n";
    start(extending());
    EXPECT_EQ(mode(), (Size{1024, 768}));
    EXPECT_EQ(loggedBeginning("desktop reset"), 0);
    EXPECT_EQ(logged("canvas options: "), 1);
}

TEST_F(ArrangingTest, StopWhileTheDesktopSettlesStaysStopped) {
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return loggedBeginning("desktop follows panel") == 1; }));
    run(300ms);
    session->stop();
    run(20s);
    EXPECT_EQ(session->state(), Session::State::idle());
    EXPECT_TRUE(machine.screenCapture.requests.empty());
    EXPECT_EQ(machine.network.openDescriptors(), 0U);
}

TEST_F(ArrangingTest, ALinkLostWhileTheDesktopSettlesIsBuiltAgain) {
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return loggedBeginning("desktop follows panel") == 1; }));
    run(300ms);
    device->disconnect();
    ASSERT_TRUE(eventually([&] { return links() == 2; }));
    ASSERT_TRUE(eventuallyRunning());
    run(5s);
    EXPECT_TRUE(session->state().isRunning());
    EXPECT_EQ(links(), 2U);
}

// --- a panel that changes

TEST_F(ArrangingTest, AnUprightPanelTurnsTheDesktop) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    run(1s);
    report("2048x2732");
    ASSERT_TRUE(eventually([&] { return loggedBeginning("desktop follows panel 2048x2732") == 1; }));
    const Instant aligned = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return logged("reconfiguring for 2048x2732 panel") == 1; }));
    EXPECT_NEAR(toSeconds(machine.machine.now() - aligned), 0.6, 0.01);
    ASSERT_TRUE(eventually([&] { return machine.screenCapture.requests.size() == 2; }));
    run(1s);
    EXPECT_EQ(mode(), (Size{1536, 2048}));
    EXPECT_EQ(display().bounds, (Rect{1920, 0, 1536, 2048}));
    EXPECT_EQ(session->state(), Session::State::running("iPad display 1536×2048 · USB"));
    EXPECT_EQ(machine.encoder.settings.back().height, 2732);
    EXPECT_EQ(device->ofType(8).back().text(), "1536×2048 | Smooth Off | Fit");
    EXPECT_EQ(links(), 1U);
    EXPECT_EQ(machine.screenCapture.streams, 1);
    EXPECT_EQ(machine.encoder.living, 1);
}

TEST_F(ArrangingTest, APanelThatNeedsNoOtherDesktopIsFollowedAtOnce) {
    start(extending());
    report("2388x1668");
    ASSERT_TRUE(eventually([&] { return logged("panel changed to 2388x1668") == 1; }));
    const Instant reported = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return logged("reconfiguring for 2388x1668 panel") == 1; }));
    EXPECT_LE(machine.machine.now() - reported, 1ms);
}

TEST_F(ArrangingTest, ASecondReportDoesNotCutTheSettlingShort) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    report("2048x2732");
    ASSERT_TRUE(eventually([&] { return logged("panel changed to 2048x2732") == 1; }));
    run(100ms);
    report("2049x2732");
    ASSERT_TRUE(eventually([&] { return logged("panel changed to 2049x2732") == 1; }));
    const Instant second = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return logged("reconfiguring for 2049x2732 panel") == 1; }));
    EXPECT_GE(machine.machine.now() - second, 600ms);
    run(5s);
    EXPECT_EQ(loggedBeginning("reconfiguring"), 1);
}

TEST_F(ArrangingTest, OfManyPanelsASlowDisplayServerIsGivenTheLast) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    machine.screens.configurationTime = 1s;
    const int before = machine.screens.modeChanges;
    for (int i = 0; i <= 100; ++i) {
        report(i % 2 == 0 ? "2048x2732" : "2732x2048");
        run(10ms);
    }
    run(60s);
    EXPECT_LE(machine.screens.modeChanges - before, 4);
    EXPECT_EQ(mode(), (Size{1536, 2048}));
    EXPECT_EQ(display().bounds, (Rect{1920, 0, 1536, 2048}));
    EXPECT_TRUE(session->state().isRunning());
    EXPECT_EQ(links(), 1U);
}

TEST_F(ArrangingTest, APanelReportWithoutALinkToReconfigureIsForgottenWithTheLink) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    report("2048x2732");
    ASSERT_TRUE(eventually([&] { return logged("panel changed to 2048x2732") == 1; }));
    device->greeting = "Tablet 2 Tablet13,8\n";
    device->disconnect();
    ASSERT_TRUE(eventually([&] { return links() == 2; }));
    ASSERT_TRUE(eventuallyRunning());
    run(5s);
    EXPECT_EQ(loggedBeginning("reconfiguring"), 0);
    EXPECT_EQ(machine.encoder.settings.back().height, 2732) << "the next start-up follows the panel anyway";
    EXPECT_EQ(mode(), (Size{1536, 2048}));
}

TEST_F(ArrangingTest, AnEncoderThatCannotBeMadeForAPanelEndsTheStreamUntilTheNextOne) {
    start(extending());
    machine.encoder.refuses = true;
    report("2388x1668");
    ASSERT_TRUE(eventually([&] { return session->state() == Session::State::failed("encoder failed"); }));
    run(20s);
    EXPECT_EQ(session->state(), Session::State::failed("encoder failed")) << "no retry";
    EXPECT_EQ(machine.encoder.living, 0);
    EXPECT_EQ(machine.screenCapture.streams, 0);
    machine.encoder.refuses = false;
    report("2048x1536");
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.encoder.settings.back().width, 2048);
    EXPECT_EQ(links(), 1U);
}

TEST_F(ArrangingTest, AStreamThatAReportBroughtBackIsNotEndedByTheRetry) {
    machine.screenCapture.startFailure = "no screen to be had";
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return logged("capture failed: no screen to be had") == 1; }));
    machine.screenCapture.startFailure.clear();
    run(1s);
    report("2388x1668");
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_TRUE(session->state().isRunning());
    EXPECT_EQ(links(), 1U);
    EXPECT_EQ(machine.screenCapture.requests.size(), 2U);
}

TEST_F(ArrangingTest, ThePatternIsDrawnAnewForAnotherPanel) {
    Session::Config config = mirroring();
    config.usePattern = true;
    start(config);
    report("2388x1668");
    ASSERT_TRUE(eventually([&] { return machine.encoder.made == 2; }));
    run(1s);
    EXPECT_EQ(session->state(), Session::State::running("Test pattern 2388×1668"));
    EXPECT_TRUE(machine.screenCapture.requests.empty());
}

TEST_F(ArrangingTest, AFilledPictureIsCutAnewWhenTheDesktopChangesItsSize) {
    Session::Config config = extending();
    config.scalingExplicit = true;
    config.scaling = Scaling::fill;
    device->greeting = "Tablet 2 Tablet13,8 x 2388x1668\n";
    start(config);
    ASSERT_EQ(machine.screenCapture.requests.back().sourceRect->width, 1600);
    session->setResolution(1024, 768);
    ASSERT_TRUE(eventually([&] { return machine.screenCapture.requests.size() == 2; }));
    EXPECT_EQ(machine.screenCapture.requests.back().sourceRect->width, 1024);
    run(5s);
    EXPECT_EQ(machine.screenCapture.requests.size(), 2U);
    EXPECT_EQ(machine.screenCapture.streams, 1);
    EXPECT_EQ(links(), 1U);
}

TEST_F(ArrangingTest, TheDeviceIsToldTheScalingThatANewDesktopGets) {
    device->greeting = "Tablet 2 Tablet13,8 x 1668x2388\n";
    start(extending());
    ASSERT_EQ(device->ofType(8).back().text(), "1600×1200 | Smooth Off | Fill");
    session->setResolution(1536, 2048);
    ASSERT_TRUE(eventually([&] { return machine.screenCapture.requests.size() == 2; }));
    run(100ms);
    EXPECT_EQ(session->effectiveScaling(), Scaling::fit);
    EXPECT_FALSE(machine.screenCapture.requests.back().sourceRect);
    EXPECT_EQ(device->ofType(8).back().text(), "1536×2048 | Smooth Off | Fit");
}

// --- the place touches are mapped to

TEST_F(ArrangingTest, TouchesFollowTheDisplayThroughEveryChange) {
    start(extending());
    EXPECT_EQ(touch(0.5F, 0.5F), (Point{1920 + 800, 600}));
    session->setPosition("left");
    run(100ms);
    EXPECT_EQ(touch(0.5F, 0.5F), (Point{-800, 600}));
    session->setResolution(1024, 768);
    run(100ms);
    EXPECT_EQ(touch(0.5F, 0.5F), (Point{-512, 384}));
    report("2732x2048");
    run(2s);
    EXPECT_EQ(touch(0.5F, 0.5F), (Point{-1024, 768}));
}

TEST_F(ArrangingTest, TouchesFollowADisplayThatSomethingElseMoved) {
    start(extending());
    run(3s);
    machine.screens.setOrigin(kVirtual, 0, -5000);
    run(2100ms);
    EXPECT_EQ(touch(0.5F, 0.5F), (Point{800, -5000 + 600}));
    machine.screens.setOrigin(kVirtual, 300, 300);
    machine.mouse.moveTo({310, 310});
    run(100ms);
    EXPECT_EQ(touch(0, 0), (Point{300, 300})) << "the pointer's motion is a look at the display";
}

TEST_F(ArrangingTest, TheCursorFollowsADisplayThatIsMovedUnderIt) {
    start(extending());
    machine.mouse.moveTo({1920 + 400, 600});
    run(1s);
    EXPECT_TRUE(wire::parseCursor(device->ofType(6).back().payload)->visible);
    session->setPosition("left");
    run(100ms);
    EXPECT_FALSE(wire::parseCursor(device->ofType(6).back().payload)->visible);
}

TEST_F(ArrangingTest, TouchesFollowAMirroredScreenThatChangesItsSize) {
    start(mirroring());
    machine.screens.setMode(1, {1280, 720, 1280, 720, 2});
    machine.mouse.moveTo({5, 5});
    run(100ms);
    EXPECT_EQ(touch(0.5F, 0.5F), (Point{640, 360}));
}

// --- a display that vanishes

TEST_F(ArrangingTest, ADisplayThatVanishedIsMadeAgain) {
    start(extending());
    std::erase_if(machine.screens.all, [](const auto& each) { return each.id == kVirtual; });
    machine.screenCapture.end("display 101 is not active any more");
    ASSERT_TRUE(eventually([&] { return session->state().kind == Session::State::Kind::failed; }));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(logged("mode=extend, capturing display 102"), 1);
    EXPECT_EQ(machine.virtualScreens.living, 1);
}

TEST_F(ArrangingTest, AnAdoptedDisplayThatVanishedIsForgotten) {
    machine.virtualScreens.offered = false;
    machine.screens.all.push_back({77, {1920, 0, 1024, 768}, {1452, 4096}, {}, {}, {}});
    start(extending());
    machine.screens.all.pop_back();
    machine.virtualScreens.offered = true;
    machine.screenCapture.end("display 77 is not active any more");
    ASSERT_TRUE(eventually([&] { return logged("mode=extend, capturing display 101") == 1; }));
    ASSERT_TRUE(eventuallyRunning());
}

TEST_F(ArrangingTest, StopEndsTheAttemptsToMakeADisplay) {
    machine.virtualScreens.offered = false;
    session->start(extending());
    run(1s);
    session->stop();
    run(20s);
    EXPECT_EQ(machine.virtualScreens.attempts, 2);
}

}  // namespace
}  // namespace quillon
