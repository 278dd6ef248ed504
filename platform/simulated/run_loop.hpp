#pragma once

#include <deque>

#include "platform/run_loop.hpp"
#include "platform/simulated/machine.hpp"
#include "platform/timer_queue.hpp"

namespace quillon::simulated {

/// The main thread's loop on the virtual clock.
class SimulatedRunLoop : public RunLoop {
  public:
    explicit SimulatedRunLoop(Machine& machine) : machine_(machine) {}

    Instant now() const override { return machine_.now(); }
    void post(Action action) override;
    [[nodiscard]] std::unique_ptr<Timer> addTimer(Duration interval, Repeat repeat, Action action,
                                                  Duration tolerance) override;
    void run() override;
    void stop() override;

    /// Runs until `done` says so; false when `limit` of virtual time passed first.
    bool runUntil(const std::function<bool()>& done, Duration limit);
    void runFor(Duration interval);

    /// Work that was posted and has not run.
    size_t waiting() const { return posted_.size(); }

  private:
    void turn(std::optional<Instant> limit);

    Machine& machine_;
    TimerQueue timers_;
    std::deque<Action> posted_;
    bool stopping_ = false;
    Machine::WaitPoint wake_;
};

}  // namespace quillon::simulated
