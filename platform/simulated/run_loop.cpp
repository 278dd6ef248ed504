#include "platform/simulated/run_loop.hpp"

#include <algorithm>
#include <utility>

namespace quillon::simulated {

void SimulatedRunLoop::post(Action action) {
    posted_.push_back(std::move(action));
    machine_.signal(wake_);
}

std::unique_ptr<Timer> SimulatedRunLoop::addTimer(Duration interval, Repeat repeat, Action action, Duration) {
    return timers_.add(now(), interval, repeat, std::move(action), Duration::zero());
}

void SimulatedRunLoop::turn(std::optional<Instant> limit) {
    if (posted_.empty()) {
        std::optional<Instant> deadline = timers_.nextWake();
        if (limit && (!deadline || *limit < *deadline)) deadline = limit;
        if (!deadline || *deadline > now()) machine_.wait(wake_, deadline);
    }
    std::deque<Action> work;
    work.swap(posted_);
    for (Action& action : work) {
        action();
        action = nullptr;
    }
    timers_.runDue(now());
}

void SimulatedRunLoop::run() {
    while (!std::exchange(stopping_, false)) turn(std::nullopt);
}

void SimulatedRunLoop::stop() {
    stopping_ = true;
    machine_.signal(wake_);
}

bool SimulatedRunLoop::runUntil(const std::function<bool()>& done, Duration limit) {
    const Instant deadline = now() + limit;
    while (!done()) {
        if (now() >= deadline) return false;
        turn(deadline);
    }
    return true;
}

void SimulatedRunLoop::runFor(Duration interval) {
    runUntil([] { return false; }, interval);
}

}  // namespace quillon::simulated
