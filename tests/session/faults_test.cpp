#include <gmock/gmock.h>

#include "tests/session/session_fixture.hpp"

namespace quillon {
namespace {

/// A computer of its own for each round of a loop over faults: a cabled device, a virtual display, and an
/// upright panel that is reported after a while.
class Round {
  public:
    Round() {
        machine.virtualScreens.hiDPI = false;
        device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
        session->start(config());
        machine.machine.after(1s, [device = device] { device->send(12, viewOf(kUpright)); });
    }

    static Session::Config config() {
        Session::Config config;
        config.transport = Transport::usb;
        return config;
    }

    void run(Duration interval) { machine.loop.runFor(interval); }
    bool eventually(const std::function<bool()>& done, Duration limit = 90s) {
        return machine.loop.runUntil(done, limit);
    }
    bool isStreaming() const { return session->state().isRunning() && device->current >= 0; }
    size_t descriptors() const { return machine.network.openDescriptors(); }

    /// What a session holds beside its virtual display.
    testing::AssertionResult holds(int each) const {
        if (descriptors() == static_cast<size_t>(each) && machine.screenCapture.streams == each &&
            machine.encoder.living == each) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure()
               << descriptors() << " descriptors, " << machine.screenCapture.streams << " captures, "
               << machine.encoder.living << " encoders";
    }

    void removeVirtualDisplays() {
        std::erase_if(machine.screens.all, [](const auto& each) { return each.id > 100; });
        machine.loop.post([this] { machine.screenCapture.end("the display is gone"); });
    }

    simulated::SimulatedPlatform machine;
    const std::shared_ptr<simulated::Device> device = machine.attachDevice("tablet-1");
    std::shared_ptr<Session> session = Session::make(machine);

  private:
    static constexpr std::string_view kUpright = "2048x2732";
};

/// Calls that a start-up and a panel report make at most.
constexpr int kCalls = 60;

class FaultsTest : public SessionTest {};

TEST_F(FaultsTest, AnyCallOfTheDisplaysMayFail) {
    for (int failing = 1; failing <= kCalls; ++failing) {
        Round round;
        round.machine.screens.answer = [failing](int call) { return call != failing; };
        ASSERT_TRUE(round.eventually([&] { return round.isStreaming(); })) << failing;
        round.run(30s);
        EXPECT_TRUE(round.isStreaming()) << failing;
        EXPECT_FALSE(round.session->isTransitioning()) << failing;
        EXPECT_TRUE(round.holds(1)) << failing;
        EXPECT_EQ(round.machine.virtualScreens.living, 1) << failing;
        const auto& display = round.machine.screens.all.back();
        const Size mode{display.current->width, display.current->height};
        EXPECT_EQ(mode, round.session->config().virtualSize()) << failing;
    }
}

TEST_F(FaultsTest, TheDisplayServerMayDieAtAnyCall) {
    for (int last = 1; last <= kCalls; ++last) {
        Round round;
        round.machine.screens.answer = [last](int call) { return call < last; };
        round.run(30s);
        EXPECT_FALSE(round.session->isTransitioning()) << last;
        round.session->stop();
        round.run(30s);
        EXPECT_TRUE(round.holds(0)) << last;
    }
}

TEST_F(FaultsTest, TheVirtualDisplayMayVanishAtAnyCall) {
    for (int fatal = 1; fatal <= kCalls; ++fatal) {
        Round round;
        round.machine.screens.answer = [&round, fatal](int call) {
            if (call == fatal) round.removeVirtualDisplays();
            return true;
        };
        round.run(40s);
        EXPECT_TRUE(round.eventually([&] { return round.isStreaming(); })) << fatal;
        round.run(5s);
        EXPECT_TRUE(round.holds(1)) << fatal;
        EXPECT_EQ(round.machine.virtualScreens.living, 1) << fatal;
        EXPECT_EQ(round.machine.screens.all.size(), 2U) << fatal;
    }
}

TEST_F(FaultsTest, StopWithDisplayWorkOnItsWayLeavesNothing) {
    for (int stopping = 1; stopping <= kCalls; ++stopping) {
        Round round;
        round.machine.screens.configurationTime = 100ms;
        round.machine.screens.answer = [&round, stopping](int call) {
            if (call == stopping) round.machine.loop.post([&round] { round.session->stop(); });
            return true;
        };
        round.run(30s);
        if (round.machine.screens.calls < stopping) break;
        EXPECT_EQ(round.session->state(), Session::State::idle()) << stopping;
        EXPECT_TRUE(round.holds(0)) << stopping;
        const int calls = round.machine.screens.calls;
        round.run(30s);
        EXPECT_EQ(round.machine.screens.calls, calls) << stopping << ": nobody looks any more";
    }
}

TEST_F(FaultsTest, StopAtAnyMomentLeavesNothing) {
    for (Duration moment = 0ms; moment < 2500ms; moment += 13ms) {
        Round round;
        round.machine.screens.configurationTime = 40ms;
        round.run(moment);
        round.session->stop();
        round.run(20s);
        EXPECT_EQ(round.session->state(), Session::State::idle()) << toMilliseconds(moment);
        EXPECT_TRUE(round.holds(0)) << toMilliseconds(moment);
        EXPECT_FALSE(round.session->isTransitioning()) << toMilliseconds(moment);
    }
}

TEST_F(FaultsTest, DestructionAtAnyMomentLeavesNothing) {
    for (Duration moment = 0ms; moment < 2500ms; moment += 13ms) {
        Round round;
        round.machine.screens.configurationTime = 40ms;
        round.run(moment);
        round.session.reset();
        round.run(20s);
        EXPECT_TRUE(round.holds(0)) << toMilliseconds(moment);
        EXPECT_EQ(round.machine.virtualScreens.living, 0) << toMilliseconds(moment);
        EXPECT_EQ(round.machine.machine.liveThreads(), 0U) << toMilliseconds(moment);
    }
}

TEST_F(FaultsTest, StopAndStartAtAnyMomentIsOneStream) {
    for (Duration moment = 0ms; moment < 2500ms; moment += 29ms) {
        Round round;
        round.machine.screens.configurationTime = 40ms;
        round.run(moment);
        round.session->stop();
        round.session->start(Round::config());
        ASSERT_TRUE(round.eventually([&] { return round.isStreaming(); })) << toMilliseconds(moment);
        round.run(5s);
        EXPECT_TRUE(round.holds(1)) << toMilliseconds(moment);
        EXPECT_EQ(round.machine.virtualScreens.living, 1) << toMilliseconds(moment);
    }
}

}  // namespace
}  // namespace quillon
