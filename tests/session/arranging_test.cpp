#include <gmock/gmock.h>

#include "tests/session/arranging_fixture.hpp"

namespace quillon {
namespace {

using testing::ElementsAre;

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
