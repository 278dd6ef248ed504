#include "app/switch_test.hpp"

#include <cstdio>
#include <utility>

namespace quillon {

namespace {

constexpr Duration kLookInterval = 250ms;
constexpr Duration kStall = 1s;

}  // namespace

SwitchTest::SwitchTest(RunLoop& loop, Session& session, const Session::Config& config,
                       std::function<void()> onDone)
    : loop_(loop),
      lastLook_(loop.now()),
      watchdog_(loop.addTimer(kLookInterval, RunLoop::Repeat::forever, [this] { look(); })) {
    const auto start = [&session, config] { session.start(config); };
    step(8s, "stop (Extend off)", [&session] { session.stop(); });
    step(12s, "start (Extend on)", start);
    step(20s, "-> mirror", [&session] { session.setMirror(true); });
    step(28s, "-> extend", [&session] { session.setMirror(false); });
    step(36s, "stop again", [&session] { session.stop(); });
    step(40s, "start again", start);
    step(50s, "done", [&session, onDone = std::move(onDone)] {
        session.stop();
        onDone();
    });
}

void SwitchTest::step(Duration at, const char* label, std::function<void()> action) {
    steps_.push_back(loop_.addTimer(at, RunLoop::Repeat::once, [label, action = std::move(action)] {
        std::printf("[test] %s\n", label);
        action();
    }));
}

void SwitchTest::look() {
    const Instant now = loop_.now();
    const Duration late = now - std::exchange(lastLook_, now) - kLookInterval;
    if (late > kStall) std::printf("[test] MAIN THREAD BLOCKED %.1fs\n", toSeconds(late));
}

}  // namespace quillon
