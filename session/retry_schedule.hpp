#pragma once

#include <functional>
#include <memory>

#include "base/time.hpp"
#include "platform/run_loop.hpp"

namespace quillon {

/// How long to wait before the start-up runs again, when `retries` have run since the last connection
/// and the failure asks for `requested`. The ten-second ceiling is fixed.
constexpr Duration retryDelay(int retries, Duration requested) {
    if (retries == 0) return requested;
    if (retries == 1) return requested <= 3s ? Duration(3s) : requested;
    if (retries == 2) return requested <= 5s ? Duration(5s) : requested;
    return 10s;
}

/// The one pending retry of a session. Main thread.
class RetrySchedule {
  public:
    RetrySchedule(RunLoop& loop, std::function<void()> retry) : loop_(loop), retry_(std::move(retry)) {}

    /// Replaces a pending retry.
    void schedule(Duration requested) {
        timer_ = loop_.addTimer(retryDelay(count_, requested), RunLoop::Repeat::once, [this] {
            ++count_;
            retry_();
        });
    }
    void cancel() { timer_.reset(); }
    void reset() {
        cancel();
        count_ = 0;
    }
    int count() const { return count_; }

  private:
    RunLoop& loop_;
    std::function<void()> retry_;
    std::unique_ptr<Timer> timer_;
    int count_ = 0;
};

}  // namespace quillon
