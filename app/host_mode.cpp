#include "app/host_mode.hpp"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "app/host_lines.hpp"
#include "app/session_config.hpp"
#include "app/switch_test.hpp"
#include "session/session.hpp"

namespace quillon {

namespace {

/// Longer than any run, and short enough for the loop's clock.
constexpr int64_t kLongestRun = int64_t{100} * 365 * 24 * 3600;

/// The session needs this long to take everything down.
constexpr Duration kTearDown = 2s;

}  // namespace

void runHost(Platform& platform, const Options& options) {
    const SessionConfig config = sessionConfig(options);
    RunLoop& loop = platform.mainLoop();

    const auto session = Session::make(platform);
    session->onState = [](const Session::State& state) { std::puts(stateLine(state).c_str()); };
    session->onStats = [](const Session::Stats& stats) { std::puts(statisticsLine(stats).c_str()); };
    session->start(config);

    std::unique_ptr<Timer> end;
    if (config.duration >= 1) {
        const std::chrono::seconds limit(std::min(config.duration, kLongestRun));
        end = loop.addTimer(limit + kTearDown, RunLoop::Repeat::once, [&loop] {
            std::puts("[host] finished");
            loop.stop();
        });
    }
    std::unique_ptr<SwitchTest> switchTest;
    if (options.switchTest) {
        switchTest = std::make_unique<SwitchTest>(loop, *session, config, [&loop] { loop.stop(); });
    }
    loop.run();
}

void exitWhenInterrupted() {
    struct sigaction action {};
    // Only calls that are safe in a handler; the process's end releases everything.
    action.sa_handler = [](int) {
        constexpr std::string_view kLine = "[host] interrupted\n";
        [[maybe_unused]] const auto ignored = write(STDOUT_FILENO, kLine.data(), kLine.size());
        _exit(0);
    };
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

}  // namespace quillon
