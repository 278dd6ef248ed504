#include <gmock/gmock.h>

#include "tests/session/session_fixture.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {
namespace {

// --- Wi-Fi and the cable

TEST_F(RunningSessionTest, WiFiUsesItsOwnPreferences) {
    const auto wifi = machine.addNetworkDevice("192.168.1.30:5555");
    Session::Config config = mirroring();
    config.transport = Transport::wifi;
    config.wifiHost = "192.168.1.30";
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->state(), Session::State::running("Mirroring main display · Wi-Fi (192.168.1.30)"));
    EXPECT_EQ(logged("prefs for Wi-Fi: quality Fast, smooth 3"), 1);
    EXPECT_EQ(logged("quality Fast: 1024x768, 6 Mbps (Wi-Fi (192.168.1.30))"), 1);
    ASSERT_GE(wifi->messages.size(), 4U);
    EXPECT_EQ(wifi->messages[0].text(), "Wi-Fi");
    EXPECT_EQ(wifi->messages[1].text(), "Mirror | Smooth On | Fast | Fit");
    EXPECT_EQ(wifi->messages[3].payload, Bytes{3});
}

TEST_F(RunningSessionTest, TheDevicesOwnNetworkOverTheCableIsAUSBLink) {
    machine.addNetworkDevice("169.254.10.1:5555");
    Session::Config config = mirroring();
    config.transport = Transport::auto_;
    config.targetHost = "169.254.10.1";
    machine.usb.attached.clear();
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->activeTransport(), "USB link (169.254.10.1)");
    EXPECT_EQ(logged("prefs for USB: quality Best, smooth 0"), 1);
    machine.attachDevice("tablet-1");
    run(20s);
    EXPECT_EQ(loggedBeginning("auto: cable detected"), 0);
}

TEST_F(RunningSessionTest, AutomaticTransportGoesBackToTheCable) {
    const auto attached = machine.usb.attached;
    machine.usb.attached.clear();
    machine.addNetworkDevice("192.168.1.30:5555");
    Session::Config config = mirroring();
    config.transport = Transport::auto_;
    config.wifiHost = "192.168.1.30";
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    run(10s);
    machine.usb.attached = attached;
    const Instant plugged = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return session->activeTransport() == "USB"; }));
    EXPECT_LE(toSeconds(machine.machine.now() - plugged), 4.0);
    EXPECT_EQ(logged("auto: cable detected for tablet-1, switching back to USB"), 1);
}

TEST_F(RunningSessionTest, ADiscoveredDeviceIsUsedWhenNothingElseIs) {
    machine.usb.attached.clear();
    machine.addNetworkDevice("10.0.0.7:6000");
    machine.services.services.push_back({{"Tablet", 6000, {{2, "10.0.0.7"}}, {}}});
    Session::Config config = mirroring();
    config.transport = Transport::auto_;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->activeTransport(), "Wi-Fi (10.0.0.7)");
}

TEST_F(RunningSessionTest, AnExplicitTargetIsNotReplacedByADiscoveredOne) {
    machine.usb.attached.clear();
    machine.addNetworkDevice("10.0.0.7:5555");
    machine.services.services.push_back({{"Tablet", 5555, {{2, "10.0.0.7"}}, {}}});
    for (const bool byHost : {true, false}) {
        Session::Config config = mirroring();
        config.transport = Transport::auto_;
        (byHost ? config.targetHost : config.targetUDID) = "elsewhere";
        session->start(config);
        ASSERT_TRUE(eventually([&] { return session->state().kind == Session::State::Kind::failed; }, 90s));
        EXPECT_EQ(machine.services.searches, 0);
        session->stop();
    }
}

TEST_F(RunningSessionTest, AnExplicitTcpHostIsUsedWithItsPort) {
    machine.addNetworkDevice("10.0.0.2:7000");
    Session::Config config = mirroring();
    config.tcpHost = "10.0.0.2";
    config.tcpPort = 7000;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->activeTransport(), "Wi-Fi (10.0.0.2)");
    EXPECT_TRUE(device->connectedAt.empty());
}

TEST_F(RunningSessionTest, AUdidFromTheCommandLineChoosesAmongSeveralDevices) {
    const auto second = machine.attachDevice("tablet-2", 2);
    Session::Config config = mirroring();
    config.udid = "tablet-2";
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(second->connectedAt.size(), 1U);
    EXPECT_TRUE(device->connectedAt.empty());
}

// --- changes during a transition

TEST_F(RunningSessionTest, AMirrorChangeRestartsInTheOtherMode) {
    startMirroring();
    session->setMirror(false);
    EXPECT_EQ(logged("switch to extend"), 1);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->state(), Session::State::running("iPad display 1600×1200 · USB"));
    session->setMirror(false);
    run(5s);
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

TEST_F(RunningSessionTest, AMirrorChangeDuringATransitionRunsAtItsEnd) {
    startMirroring();
    session->restart();
    session->setMirror(false);
    EXPECT_EQ(logged("switch to extend queued"), 1);
    EXPECT_TRUE(session->config().mirror);
    ASSERT_TRUE(eventually([&] { return !session->config().mirror; }));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(logged("running queued switch to extend"), 1);
    EXPECT_EQ(session->state(), Session::State::running("iPad display 1600×1200 · USB"));
    run(20s);
    EXPECT_EQ(device->connectedAt.size(), 3U);
    EXPECT_EQ(machine.network.openDescriptors(), 1U);
}

TEST_F(RunningSessionTest, AQueuedMirrorChangeWaitsForTheQueuedTarget) {
    startMirroring();
    session->restart();
    session->setMirror(false);
    session->setTarget("tablet-1", std::nullopt);  // its restart comes first and leaves the mirror queued
    ASSERT_TRUE(eventually([&] { return logged("applying queued target") == 1; }));
    ASSERT_TRUE(eventually([&] { return logged("running queued switch to extend") == 1; }));
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_FALSE(session->config().mirror);
    EXPECT_FALSE(session->isTransitioning());
    EXPECT_EQ(machine.network.openDescriptors(), 1U);
}

TEST_F(RunningSessionTest, AQueuedMirrorChangeThatIsTakenBackIsDropped) {
    startMirroring();
    session->restart();
    session->setMirror(false);
    session->setMirror(true);
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_TRUE(session->config().mirror) << "the last word counts";
    EXPECT_EQ(loggedBeginning("running queued switch"), 0);
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

TEST_F(RunningSessionTest, ATargetIsChosenAtOnceOrAtTheEndOfATransition) {
    startMirroring();
    const auto second = machine.attachDevice("tablet-2", 2);
    session->setTarget("tablet-1", std::nullopt);
    EXPECT_EQ(logged("target set to tablet-1"), 1);
    session->setTarget("tablet-2", std::nullopt);
    EXPECT_EQ(logged("transition busy, target queued"), 1);
    ASSERT_TRUE(eventually([&] { return second->connectedAt.size() == 1; }, 60s));
    session->setTarget(std::nullopt, "192.168.1.30");
    session->setTarget(std::nullopt, std::nullopt);
    EXPECT_EQ(logged("target set to 192.168.1.30"), 1);
    EXPECT_EQ(logged("target set to default"), 1);
}

// --- statistics

TEST_F(RunningSessionTest, StatisticsComeOnceASecondToObserverAndDevice) {
    startMirroring();
    machine.screenCapture.animate(30);
    run(10500ms);
    EXPECT_NEAR(static_cast<double>(stats.size()), 10, 1);
    EXPECT_NEAR(stats.back().fps, 30, 1.1);
    EXPECT_EQ(stats.back().drops, 0);
    const auto drops = device->ofType(9);
    EXPECT_EQ(drops.size(), stats.size());
    EXPECT_EQ(drops.back().payload, (Bytes{0, 0, 0, 0}));
}

// --- the pointer

TEST_F(RunningSessionTest, ThePointerIsSentWhenItMovesNoticeably) {
    startMirroring();
    run(1s);
    const auto first = device->ofType(6);
    ASSERT_EQ(first.size(), 1U) << "where it is when capture begins";
    machine.mouse.moveTo({101, 100});
    run(1s);
    EXPECT_EQ(device->ofType(6).size(), 1U) << "1/1920 is not worth a message";
    machine.mouse.moveTo({960, 540});
    run(1s);
    const auto sent = device->ofType(6);
    ASSERT_EQ(sent.size(), 2U);
    const auto cursor = wire::parseCursor(sent[1].payload);
    ASSERT_TRUE(cursor);
    EXPECT_TRUE(cursor->visible);
    EXPECT_NEAR(cursor->x, 0.5, 1e-6);
    EXPECT_NEAR(cursor->y, 0.5, 1e-6);
    machine.mouse.moveTo({5000, 540});
    run(1s);
    EXPECT_FALSE(wire::parseCursor(device->ofType(6).back().payload)->visible);
}

TEST_F(RunningSessionTest, ARestingPointerIsNotLookedAt) {
    startMirroring();
    run(1s);
    const int looks = machine.mouse.looks;
    run(60s);
    EXPECT_EQ(machine.mouse.looks, looks);
}

TEST_F(RunningSessionTest, AMovingPointerIsSentAtMost125TimesASecond) {
    startMirroring();
    run(1s);
    const size_t before = device->ofType(6).size();
    for (int step = 0; step < 1000; ++step) {
        machine.mouse.moveTo({100 + step * 1.5, 100 + step * 0.5});
        run(1ms);
    }
    const size_t sent = device->ofType(6).size() - before;
    EXPECT_LE(sent, 126U);
    EXPECT_GE(sent, 100U);
}

TEST_F(RunningSessionTest, WithoutMotionEventsThePointerIsPolled) {
    machine.mouse.tellsMotion = false;
    startMirroring();
    run(1s);
    machine.mouse.place = Point{960, 540};
    run(20ms);
    EXPECT_EQ(device->ofType(6).size(), 2U);
}

// --- credit

TEST_F(RunningSessionTest, ASlowLinkDropsPicturesBeforeTheyAreEncoded) {
    machine.encoder.frameBytes = 20000;
    machine.usb.attached[0].ports[5555].bytesPerSecond = 125'000;
    startMirroring();
    machine.screenCapture.animate(30);
    run(20s);
    // 125 kB/s carry about six frames a second; all that were encoded arrive.
    EXPECT_GE(stats.back().drops, 20 * 10);
    EXPECT_LE(stats.back().fps, 8);
    machine.screenCapture.animate(0);
    const int encodedSoFar = device->counts[2];
    run(5s);
    EXPECT_LE(device->counts[2] - encodedSoFar, 3);
}

TEST_F(RunningSessionTest, TheLastPictureBeforeRestArrivesOnASlowLink) {
    machine.encoder.frameBytes = 60000;
    machine.usb.attached[0].ports[5555].bytesPerSecond = 125'000;
    const Instant began = machine.machine.now();
    startMirroring();
    machine.screenCapture.animate(30);
    run(10s);
    machine.screenCapture.animate(0);
    machine.screenCapture.change();
    const Instant changed = machine.machine.now();
    run(5s);
    const auto frames = device->ofType(2);
    EXPECT_GE(Duration(std::chrono::microseconds(frames.back().pts)), changed - began)
        << "the newest frame was taken after the last change";
}

TEST_F(RunningSessionTest, TheCursorPassesAFullLink) {
    machine.encoder.frameBytes = 20000;
    machine.usb.attached[0].ports[5555].bytesPerSecond = 1'000'000;
    startMirroring();
    machine.screenCapture.animate(60);
    run(5s);
    const size_t before = device->ofType(6).size();
    const Instant moved = machine.machine.now();
    machine.mouse.moveTo({1000, 600});
    ASSERT_TRUE(eventually([&] { return device->ofType(6).size() > before; }));
    EXPECT_LE(device->ofType(6).back().at - moved, 110ms);
}

}  // namespace
}  // namespace quillon
