#include "tests/session/session_fixture.hpp"

namespace quillon {
namespace {

class LinkLossTest : public RunningSessionTest {};

// --- a device that falls silent

TEST_F(LinkLossTest, ASilentDeviceIsGivenElevenFramesAndEightSeconds) {
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

TEST_F(LinkLossTest, SilenceBeforeElevenFramesIsNoLoss) {
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

TEST(SilenceWatchdogTest, WatchesFromTheEleventhFrameOn) {
    simulated::Machine machine;
    simulated::SimulatedRunLoop loop(machine);
    int silences = 0;
    SilenceWatchdog watchdog(loop, [&] { ++silences; });
    watchdog.start();
    for (int frame = 0; frame < 10; ++frame) watchdog.noteFrame();
    loop.runFor(121s);
    EXPECT_EQ(silences, 0);
    watchdog.noteFrame();
    loop.runFor(2s);
    EXPECT_EQ(silences, 1);
}

TEST_F(LinkLossTest, ALinkThatTakesNothingAfterItsFirstFramesIsReclaimed) {
    machine.encoder.frameBytes = 20000;
    startMirroring();
    ASSERT_TRUE(eventually([&] { return device->counts[2] == 1; }));
    machine.network.setPath(device->current, simulated::Network::Path::lost);
    machine.screenCapture.animate(30);
    ASSERT_TRUE(eventually([&] { return logged("no traffic for 8 s, reclaiming the link") == 1; }));
    EXPECT_EQ(device->counts[2], 1);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

TEST_F(LinkLossTest, KeepAlivesAreTraffic) {
    device->acknowledges = false;
    startMirroring();
    machine.screenCapture.animate(30);
    run(60s);
    EXPECT_EQ(device->connectedAt.size(), 1U);
}

// --- a link that ends

TEST_F(LinkLossTest, ALostLinkIsBuiltAgain) {
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

TEST_F(LinkLossTest, RetriesWithoutADeviceGrowToTenSeconds) {
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

TEST_F(LinkLossTest, AConnectionResetsTheRetryCount) {
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

TEST_F(LinkLossTest, ARetryArmedBeforeARestartHasNoEffect) {
    startMirroring();
    device->disconnect();
    run(1s);
    session->restart();
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

TEST_F(LinkLossTest, StopWhileWaitingForARetryStaysStopped) {
    startMirroring();
    device->disconnect();
    run(1s);
    session->stop();
    run(60s);
    EXPECT_EQ(session->state(), Session::State::idle());
    EXPECT_EQ(device->connectedAt.size(), 1U);
}

TEST_F(LinkLossTest, ALinkThatDiesDuringARestartIsNoticed) {
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

TEST_F(LinkLossTest, ALinkCutAtAnyMomentIsBuiltAgain) {
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

}  // namespace
}  // namespace quillon
