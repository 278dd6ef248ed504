#include <gmock/gmock.h>

#include "tests/session/session_fixture.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {
namespace {

using testing::ElementsAre;

class DeviceMessagesTest : public RunningSessionTest {
  protected:
    /// The device reports panels, one of `texts` after the other, while the main thread is busy.
    void flood(const std::vector<std::string>& texts, int rounds) {
        for (int round = 0; round < rounds; ++round) {
            for (const std::string& text : texts) device->send(12, viewOf(text));
        }
        simulated::Machine::WaitPoint never;
        machine.machine.wait(never, machine.machine.now() + 10ms);
    }
    /// The device reports `panels`, and the picture stays as it is.
    void expectIgnored(const std::vector<Bytes>& panels) {
        for (const Bytes& panel : panels) device->send(12, panel);
        run(3s);
        EXPECT_EQ(loggedBeginning("panel changed"), 0);
        EXPECT_EQ(machine.encoder.made, 1);
    }
    static Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }
};

// --- acknowledgements

TEST_F(DeviceMessagesTest, AcknowledgementsBecomeLatencySamples) {
    device->acknowledgementDelay = 20ms;
    startMirroring();
    machine.screenCapture.animate(30);
    ASSERT_TRUE(eventually([&] { return stats.size() >= 2; }));
    ASSERT_TRUE(stats.back().latencyP50);
    // 20 ms on the device and 3 ms in the encoder.
    EXPECT_NEAR(*stats.back().latencyP50, 23, 1);
}

TEST_F(DeviceMessagesTest, AnEchoFromTheFutureIsTrafficButNoSample) {
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

TEST_F(DeviceMessagesTest, TheNewest240SamplesAreKept) {
    device->acknowledges = false;
    const Instant began = machine.machine.now();
    startMirroring();
    run(1s);
    const Duration clock = machine.machine.now() - began;
    for (uint64_t i = 0; i < 300; ++i) device->send(3, {}, i * 1000);
    run(1ms);
    EXPECT_EQ(session->latencySampleCount(), 240U);
    machine.screenCapture.change();
    ASSERT_TRUE(eventually([&] { return !stats.empty(); }));
    // The echoes of 60 to 299 ms are left.
    EXPECT_NEAR(stats.back().latencyP50.value(), toMilliseconds(clock) - 179, 0.5);
}

// --- messages

TEST_F(DeviceMessagesTest, UnknownMessagesAreSkippedHoweverLong) {
    startMirroring();
    device->send(13, Bytes(5, 0xAA));
    device->send(200, Bytes(3'000'000, 0xBB));
    device->send(4, wire::inputPayload({wire::Input::press, 0.5F, 0.5F, 0, 0}));
    run(1s);
    EXPECT_TRUE(session->state().isRunning());
    EXPECT_THAT(machine.mouse.posted,
                ElementsAre(simulated::SimulatedPointer::Posted{Pointer::Event::press, {960, 540}}));
}

TEST_F(DeviceMessagesTest, InputIsCountedAndReachesThePointer) {
    startMirroring();
    device->send(4, wire::inputPayload({wire::Input::scroll, 0, 0, 0, 12.7F}));
    device->send(4, Bytes(16, 1));
    run(100ms);
    EXPECT_EQ(session->inputCount(), 2);
    EXPECT_THAT(machine.mouse.scrolled, ElementsAre(simulated::SimulatedPointer::Scrolled{-12, 0}));
    EXPECT_TRUE(machine.mouse.posted.empty());
}

TEST_F(DeviceMessagesTest, InputIsCountedOverAllLinks) {
    startMirroring();
    device->send(4, {});
    run(100ms);
    session->restart();
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->inputCount(), 1);
    device->send(4, {});
    run(100ms);
    EXPECT_EQ(session->inputCount(), 2);
}

TEST_F(DeviceMessagesTest, APanelReportReconfiguresOnTheSameLink) {
    startMirroring();
    run(1s);
    device->send(12, viewOf("2388x1668"));
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

TEST_F(DeviceMessagesTest, TheSamePanelTwiceIsOneChange) {
    startMirroring();
    device->send(12, viewOf("2388x1668"));
    device->send(12, viewOf("2388x1668"));
    run(3s);
    EXPECT_EQ(logged("panel report: 2388x1668"), 2);
    EXPECT_EQ(logged("panel changed to 2388x1668"), 1);
    EXPECT_EQ(loggedBeginning("reconfiguring for"), 1);
}

TEST_F(DeviceMessagesTest, APanelReportWithoutASizeIsOnlyLogged) {
    startMirroring();
    expectIgnored({bytesOf("1024x50"), {0xFF, 'x'}});
    EXPECT_EQ(logged("panel report: 1024x50"), 1);
    EXPECT_EQ(logged("panel report: \xEF\xBF\xBDx"), 1);
}

TEST_F(DeviceMessagesTest, APanelThatNoDisplayHasIsNone) {
    startMirroring();
    expectIgnored({bytesOf("16384x16384")});
}

TEST_F(DeviceMessagesTest, APanelReportIsOneLineOfTheLog) {
    startMirroring();
    device->send(12, viewOf("1024x50\nlink lost, reconnecting\x1b[2J"));
    run(1s);
    EXPECT_EQ(logged("panel report: 1024x50\\x0alink lost, reconnecting\\x1b[2J"), 1);
    EXPECT_EQ(logged("link lost, reconnecting"), 0);
}

TEST_F(DeviceMessagesTest, AFloodOfPanelReportsIsOneChangeForTheMainThread) {
    startMirroring();
    run(1s);
    flood({"2048x1536"}, 300);
    EXPECT_EQ(machine.loop.waiting(), 0U) << "the panel is known";
    flood({"1024x50", "\xff\xfe", ""}, 100);
    EXPECT_EQ(machine.loop.waiting(), 0U) << "no panel";
    flood({"2388x1668", "1668x2388"}, 150);
    EXPECT_EQ(machine.loop.waiting(), 1U);
    run(5s);
    EXPECT_EQ(loggedBeginning("panel report: "), 900);
    EXPECT_EQ(loggedBeginning("panel changed to "), 300);
    EXPECT_EQ(loggedBeginning("reconfiguring for "), 1);
    EXPECT_EQ(machine.encoder.settings.back().width, 1668);
    EXPECT_TRUE(session->state().isRunning());
}

TEST_F(DeviceMessagesTest, APanelThatIsBackBeforeItWasFollowedChangesNothing) {
    startMirroring();
    run(1s);
    flood({"2388x1668", "2048x1536"}, 1);
    run(5s);
    EXPECT_EQ(loggedBeginning("panel changed to "), 2);
    EXPECT_EQ(loggedBeginning("reconfiguring for "), 0);
}

TEST_F(DeviceMessagesTest, AnUprightPanelIsFilledAutomatically) {
    startMirroring();
    device->send(12, viewOf("2048x2732"));
    run(3s);
    EXPECT_EQ(logged("scaling: Fill (crop) (automatic, panel reported)"), 1);
    EXPECT_EQ(device->ofType(8).back().text(), "Mirror | Smooth Off | Fill");
}

TEST_F(DeviceMessagesTest, AnExplicitScalingIsNotChangedByThePanel) {
    Session::Config config = mirroring();
    config.scalingExplicit = true;
    config.scaling = Scaling::stretch;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    device->send(12, viewOf("2048x2732"));
    run(3s);
    EXPECT_EQ(loggedBeginning("scaling:"), 0);
    EXPECT_EQ(device->ofType(8).back().text(), "Mirror | Smooth Off | Stretch");
}

TEST_F(DeviceMessagesTest, ManyPanelReportsEndInTheLast) {
    startMirroring();
    for (int i = 0; i < 50; ++i) {
        device->send(12, viewOf(std::to_string(1000 + i * 10) + "x800"));
        run(Duration(std::chrono::milliseconds(i % 7)));
    }
    run(5s);
    EXPECT_EQ(machine.encoder.settings.back().width, 1490);
    EXPECT_EQ(machine.encoder.living, 1);
    EXPECT_EQ(machine.screenCapture.streams, 1);
    EXPECT_TRUE(session->state().isRunning());
}

}  // namespace
}  // namespace quillon
