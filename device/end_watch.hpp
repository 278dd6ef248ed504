#pragma once

#include <csignal>
#include <optional>

#include "device/time.hpp"

namespace quillon::device {

/// Knows when the program shall end: on SIGINT or SIGTERM, or when its time has passed. Main thread.
class EndWatch {
  public:
    /// Blocks the two signals for this thread and all that it makes from now on, so that they are only
    /// ever taken here.
    explicit EndWatch(std::optional<Clock::duration> runTime);

    /// Waits for the end.
    void wait();

    /// Whether the end has come; does not wait.
    bool hasCome() { return comesWithin(Clock::duration::zero()); }

  private:
    bool comesWithin(Clock::duration limit);

    sigset_t signals_{};
    std::optional<Moment> end_;
    bool come_ = false;
};

}  // namespace quillon::device
