#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "base/log.hpp"
#include "platform/simulated/platform.hpp"
#include "session/session.hpp"

namespace quillon {

/// A session on a simulated computer, and what its user sees: states, statistics, log lines.
class SessionTest : public testing::Test {
  protected:
    SessionTest() {
        std::string pattern = (std::filesystem::temp_directory_path() / "quillon-session-XXXXXX").string();
        home_ = mkdtemp(pattern.data());
        setenv("HOME", home_.c_str(), 1);
        session->onState = [this](const Session::State& state) { states.push_back(state); };
        session->onStats = [this](const Session::Stats& each) { stats.push_back(each); };
    }
    ~SessionTest() override {
        session.reset();
        std::filesystem::remove_all(home_);
    }

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

    /// The log so far, without time stamps.
    std::vector<std::string> log() const {
        std::vector<std::string> lines;
        std::ifstream file(Log::url());
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line.substr(std::min(line.size(), line.find(' ') + 1)));
        }
        return lines;
    }
    int logged(const std::string& line) const {
        const auto lines = log();
        return static_cast<int>(std::count(lines.begin(), lines.end(), line));
    }
    int loggedBeginning(const std::string& start) const {
        const auto lines = log();
        return static_cast<int>(std::count_if(
            lines.begin(), lines.end(), [&](const std::string& line) { return line.starts_with(start); }));
    }

    simulated::SimulatedPlatform machine;
    std::shared_ptr<Session> session = Session::make(machine);
    std::vector<Session::State> states;
    std::vector<Session::Stats> stats;

  private:
    std::string home_;
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
