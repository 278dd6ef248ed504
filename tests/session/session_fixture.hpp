#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/simulated/platform.hpp"
#include "session/session.hpp"
#include "tests/support/own_home.hpp"

namespace quillon {

/// A session on a simulated computer, and what its user sees: states, statistics, log lines.
class SessionTest : public testing::Test, protected test::OwnHome {
  protected:
    SessionTest() {
        session->onState = [this](const Session::State& state) { states.push_back(state); };
        session->onStats = [this](const Session::Stats& each) { stats.push_back(each); };
    }
    ~SessionTest() override { session.reset(); }

    /// Mirroring over USB, which needs nothing but a display and a cabled device.
    static Session::Config mirroring() {
        Session::Config config;
        config.mirror = true;
        config.transport = Transport::usb;
        return config;
    }

    void run(Duration interval) { machine.loop.runFor(interval); }
    testing::AssertionResult eventually(const std::function<bool()>& done, Duration limit = 30s) {
        if (machine.loop.runUntil(done, limit)) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "not within " << toSeconds(limit) << " s of virtual time";
    }
    testing::AssertionResult eventuallyRunning() {
        return eventually([this] { return session->state().isRunning(); });
    }

    simulated::SimulatedPlatform machine;
    std::shared_ptr<Session> session = Session::make(machine);
    std::vector<Session::State> states;
    std::vector<Session::Stats> stats;
};

/// The same with a device on the cable.
class RunningSessionTest : public SessionTest {
  protected:
    void startMirroring() {
        session->start(mirroring());
        ASSERT_TRUE(eventuallyRunning());
    }

    const std::shared_ptr<simulated::Device> device = machine.attachDevice("tablet-1");
};

}  // namespace quillon
