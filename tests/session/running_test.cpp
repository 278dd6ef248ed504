#include <gmock/gmock.h>

#include "tests/session/session_fixture.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {
namespace {

using testing::ElementsAre;

class RunningSessionTest : public SessionTest {
  protected:
    RunningSessionTest() : device(machine.attachDevice("tablet-1")) {}

    void startMirroring() {
        session->start(mirroring());
        ASSERT_TRUE(eventuallyRunning());
    }
    static Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

    const std::shared_ptr<simulated::Device> device;
};

// --- acknowledgements and the watchdog

TEST_F(RunningSessionTest, AcknowledgementsBecomeLatencySamples) {
    device->acknowledgementDelay = 20ms;
    startMirroring();
    machine.screenCapture.animate(30);
    ASSERT_TRUE(eventually([&] { return stats.size() >= 2; }));
    ASSERT_TRUE(stats.back().latencyP50);
    // 20 ms on the device and 3 ms in the encoder.
    EXPECT_NEAR(*stats.back().latencyP50, 23, 1);
}

TEST_F(RunningSessionTest, AnEchoFromTheFutureIsTrafficButNoSample) {
    device->acknowledges = false;
    device->keepAliveInterval = Duration::zero();
    startMirroring();
    machine.screenCapture.animate(30);
    for (int second = 0; second < 20; ++second) {
        device->send(3, {}, ~uint64_t{0});
        run(1s);
    }
    EXPECT_EQ(session->latencySampleCount(), 0U);
    EXPECT_EQ(logged("no traffic for 8 s, reclaiming the link"), 0);
}

TEST_F(RunningSessionTest, TheNewest240SamplesAreKept) {
    device->acknowledges = false;
    startMirroring();
    run(1s);
    for (int i = 0; i < 300; ++i) device->send(3, {}, 1);
    run(1s);
    EXPECT_EQ(session->latencySampleCount(), 240U);
}

TEST_F(RunningSessionTest, ASilentDeviceIsGivenElevenFramesAndEightSeconds) {
    device->acknowledges = false;
    device->keepAliveInterval = Duration::zero();
    startMirroring();
    const Instant began = machine.machine.now();
    machine.screenCapture.animate(30);
    ASSERT_TRUE(eventually([&] { return logged("no traffic for 8 s, reclaiming the link") == 1; }));
    EXPECT_NEAR(toSeconds(machine.machine.now() - began), 10, 0.1) << "the look after more than 8 s";
    EXPECT_EQ(logged("link lost, reconnecting"), 1);
    EXPECT_EQ(session->state(), Session::State::starting());
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

TEST_F(RunningSessionTest, SilenceBeforeElevenFramesIsNoLoss) {
    device->acknowledges = false;
    device->keepAliveInterval = Duration::zero();
    startMirroring();
    for (int frame = 0; frame < 9; ++frame) {
        machine.screenCapture.change();
        run(200ms);
    }
    ASSERT_LE(device->counts[2], 10);
    run(120s);
    EXPECT_TRUE(session->state().isRunning());
    EXPECT_EQ(device->connectedAt.size(), 1U);
}

TEST_F(RunningSessionTest, KeepAlivesAreTraffic) {
    device->acknowledges = false;
    startMirroring();
    machine.screenCapture.animate(30);
    run(60s);
    EXPECT_EQ(device->connectedAt.size(), 1U);
}

// --- messages

TEST_F(RunningSessionTest, UnknownMessagesAreSkippedHoweverLong) {
    startMirroring();
    device->send(13, Bytes(5, 0xAA));
    device->send(200, Bytes(3'000'000, 0xBB));
    device->send(4, wire::inputPayload({wire::Input::press, 0.5F, 0.5F, 0, 0}));
    run(1s);
    EXPECT_TRUE(session->state().isRunning());
    EXPECT_THAT(machine.mouse.posted,
                ElementsAre(simulated::SimulatedPointer::Posted{Pointer::Event::press, {960, 540}}));
}

TEST_F(RunningSessionTest, InputIsCountedAndReachesThePointer) {
    startMirroring();
    device->send(4, wire::inputPayload({wire::Input::scroll, 0, 0, 0, 12.7F}));
    device->send(4, Bytes(16, 1));
    run(100ms);
    EXPECT_EQ(session->inputCount(), 2);
    EXPECT_THAT(machine.mouse.scrolled, ElementsAre(simulated::SimulatedPointer::Scrolled{-12, 0}));
    EXPECT_TRUE(machine.mouse.posted.empty());
}

TEST_F(RunningSessionTest, APanelReportReconfiguresOnTheSameLink) {
    startMirroring();
    run(1s);
    device->send(12, bytesOf("2388x1668"));
    ASSERT_TRUE(eventually([&] { return machine.encoder.made == 2; }));
    ASSERT_TRUE(eventually([&] { return machine.screenCapture.requests.size() == 2; }));
    run(1s);
    EXPECT_EQ(logged("panel report: 2388x1668"), 1);
    EXPECT_EQ(logged("panel changed to 2388x1668"), 1);
    EXPECT_EQ(logged("reconfiguring for 2388x1668 panel"), 1);
    EXPECT_EQ(machine.encoder.settings.back().width, 2388);
    EXPECT_EQ(machine.encoder.settings.back().height, 1668);
    EXPECT_EQ(machine.encoder.living, 1);
    EXPECT_EQ(machine.screenCapture.streams, 1);
    EXPECT_EQ(device->connectedAt.size(), 1U);
    EXPECT_EQ(device->ofType(1).size(), 2U) << "a new encoder delivers its parameter sets again";
    EXPECT_TRUE(session->state().isRunning());
}

TEST_F(RunningSessionTest, TheSamePanelTwiceIsOneChange) {
    startMirroring();
    device->send(12, bytesOf("2388x1668"));
    device->send(12, bytesOf("2388x1668"));
    run(3s);
    EXPECT_EQ(logged("panel report: 2388x1668"), 2);
    EXPECT_EQ(logged("panel changed to 2388x1668"), 1);
    EXPECT_EQ(loggedBeginning("reconfiguring for"), 1);
}

TEST_F(RunningSessionTest, APanelReportWithoutASizeIsOnlyLogged) {
    startMirroring();
    device->send(12, bytesOf("1024x50"));
    device->send(12, Bytes{0xFF, 'x'});
    run(3s);
    EXPECT_EQ(logged("panel report: 1024x50"), 1);
    EXPECT_EQ(logged("panel report: \xEF\xBF\xBDx"), 1);
    EXPECT_EQ(loggedBeginning("panel changed"), 0);
    EXPECT_EQ(machine.encoder.made, 1);
}

TEST_F(RunningSessionTest, AnUprightPanelIsFilledAutomatically) {
    startMirroring();
    device->send(12, bytesOf("2048x2732"));
    run(3s);
    EXPECT_EQ(logged("scaling: Fill (crop) (automatic, panel reported)"), 1);
    EXPECT_EQ(device->ofType(8).back().text(), "Mirror | Smooth Off | Fill");
}

TEST_F(RunningSessionTest, AnExplicitScalingIsNotChangedByThePanel) {
    Session::Config config = mirroring();
    config.scalingExplicit = true;
    config.scaling = Scaling::stretch;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    device->send(12, bytesOf("2048x2732"));
    run(3s);
    EXPECT_EQ(loggedBeginning("scaling:"), 0);
    EXPECT_EQ(device->ofType(8).back().text(), "Mirror | Smooth Off | Stretch");
}

TEST_F(RunningSessionTest, ManyPanelReportsEndInTheLast) {
    startMirroring();
    for (int i = 0; i < 50; ++i) {
        device->send(12, bytesOf(std::to_string(1000 + i * 10) + "x800"));
        run(Duration(std::chrono::milliseconds(i % 7)));
    }
    run(5s);
    EXPECT_EQ(machine.encoder.settings.back().width, 1490);
    EXPECT_EQ(machine.encoder.living, 1);
    EXPECT_EQ(machine.screenCapture.streams, 1);
    EXPECT_TRUE(session->state().isRunning());
}

// --- losing the link

TEST_F(RunningSessionTest, ALostLinkIsBuiltAgain) {
    startMirroring();
    run(1s);
    const Instant lost = machine.machine.now();
    device->disconnect();
    ASSERT_TRUE(eventually([&] { return device->connectedAt.size() == 2; }));
    EXPECT_NEAR(toSeconds(device->connectedAt[1] - lost), 1.5, 0.02);
    EXPECT_EQ(logged("link lost, reconnecting"), 1);
    ASSERT_TRUE(eventuallyRunning());
    ASSERT_TRUE(eventually([&] { return device->ofType(1).size() == 2; }));
    run(1s);
    EXPECT_EQ(machine.network.openDescriptors(), 1U);
    EXPECT_EQ(machine.screenCapture.streams, 1);
    EXPECT_EQ(machine.encoder.living, 1);
}

TEST_F(RunningSessionTest, RetriesWithoutADeviceGrowToTenSeconds) {
    startMirroring();
    std::vector<double> failures;
    session->onState = [&](const Session::State& state) {
        if (state.kind == Session::State::Kind::failed)
            failures.push_back(toSeconds(machine.machine.now().time_since_epoch()));
    };
    machine.usb.attached.clear();
    const double lost = toSeconds(machine.machine.now().time_since_epoch());
    device->disconnect();
    ASSERT_TRUE(eventually([&] { return failures.size() == 5; }, 120s));
    // Ten attempts with nine pauses of 0.6 s take 5.4 s; the waits between them are 1.5, 5, 5, 10, 10.
    constexpr double kAttempts = 5.4;
    EXPECT_NEAR(failures[0] - lost, 1.5 + kAttempts, 0.1);
    EXPECT_NEAR(failures[1] - failures[0], 5 + kAttempts, 0.1);
    EXPECT_NEAR(failures[2] - failures[1], 5 + kAttempts, 0.1);
    EXPECT_NEAR(failures[3] - failures[2], 10 + kAttempts, 0.1);
    EXPECT_NEAR(failures[4] - failures[3], 10 + kAttempts, 0.1);
}

TEST(RetryDelay, GrowsByTheNumberOfRetries) {
    EXPECT_EQ(retryDelay(0, 1500ms), Duration(1500ms));
    EXPECT_EQ(retryDelay(1, 1500ms), Duration(3s));
    EXPECT_EQ(retryDelay(2, 1500ms), Duration(5s));
    EXPECT_EQ(retryDelay(3, 1500ms), Duration(10s));
    EXPECT_EQ(retryDelay(1, 4s), Duration(4s));
    EXPECT_EQ(retryDelay(2, 5s), Duration(5s));
    EXPECT_EQ(retryDelay(2, 6s), Duration(6s));
    EXPECT_EQ(retryDelay(3, 30s), Duration(10s));
    EXPECT_EQ(retryDelay(100, 30s), Duration(10s));
}

TEST_F(RunningSessionTest, AConnectionResetsTheRetryCount) {
    startMirroring();
    for (int round = 0; round < 5; ++round) {
        const Instant lost = machine.machine.now();
        const size_t before = device->connectedAt.size();
        device->disconnect();
        ASSERT_TRUE(eventually([&] { return device->connectedAt.size() == before + 1; }));
        EXPECT_NEAR(toSeconds(device->connectedAt.back() - lost), 1.5, 0.02);
        ASSERT_TRUE(eventuallyRunning());
    }
}

TEST_F(RunningSessionTest, ARetryArmedBeforeARestartHasNoEffect) {
    startMirroring();
    device->disconnect();
    run(1s);
    session->restart();
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

TEST_F(RunningSessionTest, StopWhileWaitingForARetryStaysStopped) {
    startMirroring();
    device->disconnect();
    run(1s);
    session->stop();
    run(60s);
    EXPECT_EQ(session->state(), Session::State::idle());
    EXPECT_EQ(device->connectedAt.size(), 1U);
}

TEST_F(RunningSessionTest, ALinkThatDiesDuringARestartIsNoticed) {
    // The device hangs up right after the greeting of the second connection.
    startMirroring();
    session->restart();
    ASSERT_TRUE(eventually([&] { return device->connectedAt.size() == 2; }));
    run(1ms);
    device->disconnect();
    ASSERT_TRUE(eventually([&] { return device->connectedAt.size() == 3; }));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.network.openDescriptors(), 1U);
}

TEST_F(RunningSessionTest, ALinkCutAtAnyMomentIsBuiltAgain) {
    for (int cut = 1; cut < 60; ++cut) {
        simulated::SimulatedPlatform other;
        const auto tablet = other.attachDevice("tablet-1");
        const auto started = Session::make(other);
        started->start(mirroring());
        other.loop.runFor(cut * Duration(1ms));
        tablet->disconnect();
        EXPECT_TRUE(
            other.loop.runUntil([&] { return started->state().isRunning() && tablet->current >= 0; }, 60s))
            << cut << " ms";
        other.loop.runFor(2s);
        EXPECT_EQ(other.network.openDescriptors(), 1U) << cut << " ms";
        EXPECT_EQ(other.screenCapture.streams, 1) << cut << " ms";
    }
}

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

TEST_F(RunningSessionTest, AQueuedMirrorChangeThatHasComeTrueIsDropped) {
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

TEST_F(RunningSessionTest, SwitchingBackAndForthDuringATransitionRestartsNothing) {
    startMirroring();
    session->restart();
    session->setMirror(false);
    session->setMirror(true);
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_TRUE(session->config().mirror) << "the last word counts";
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
