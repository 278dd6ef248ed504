#pragma once

#include <functional>
#include <memory>

#include "base/time.hpp"

namespace quillon {

/// A running timer. Destroying it invalidates it: the action does not run again, not even when it is
/// already due. A timer may be destroyed from inside its own action. Main thread only.
class Timer {
  public:
    virtual ~Timer() = default;
};

/// The main thread's loop: posted work, timers and the time itself. All code asks it for the time, so
/// a simulated run can own the clock.
///
/// Within one turn of the loop posted work runs in the order of posting and due timers in the order
/// of their deadlines. Nothing runs from inside `post` or `addTimer`.
class RunLoop {
  public:
    using Action = std::function<void()>;
    enum class Repeat { once, forever };

    virtual ~RunLoop() = default;

    /// The time now. Any thread.
    virtual Instant now() const = 0;

    /// Runs `action` on the main thread, later. Any thread. Work still waiting when the loop is
    /// destroyed is dropped.
    virtual void post(Action action) = 0;

    /// Calls `action` after `interval`, once or for ever, also while a menu is open. Main thread only.
    /// `tolerance` is how late it may come for the sake of fewer wake-ups. A repeating timer keeps its
    /// own grid: ticks that were missed (the machine slept, the thread was busy) are left out, so it
    /// never fires in a burst. An interval below 1 ms counts as 1 ms for a repeating timer.
    [[nodiscard]] virtual std::unique_ptr<Timer> addTimer(Duration interval, Repeat repeat, Action action,
                                                          Duration tolerance = Duration::zero()) = 0;

    /// Runs until `stop`. Main thread.
    virtual void run() = 0;

    /// Makes `run` return after the current turn. Any thread.
    virtual void stop() = 0;

    /// `co_await loop.sleep(600ms)`: see platform/task.hpp, which defines it.
    [[nodiscard]] auto sleep(Duration interval);
};

}  // namespace quillon
