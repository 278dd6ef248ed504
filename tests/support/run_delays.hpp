#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace quillon::testing {

/// For how long the threads of some programs were ready to run and got no processor, as the kernel counts it:
/// what a busy machine adds to their work. Looks every few milliseconds, in a thread of its own.
class RunDelays {
  public:
    using Clock = std::chrono::steady_clock;

    explicit RunDelays(std::vector<pid_t> programs);
    ~RunDelays();
    RunDelays(const RunDelays&) = delete;
    RunDelays& operator=(const RunDelays&) = delete;

    /// All threads' together, between two moments of the past.
    std::chrono::nanoseconds between(Clock::time_point from, Clock::time_point to) const;

  private:
    struct Sample {
        Clock::time_point when;
        std::chrono::nanoseconds total;
    };
    void look();

    const std::vector<pid_t> programs_;
    std::map<pid_t, std::chrono::nanoseconds> threads_;  ///< of each when last seen; the looking thread's own

    mutable std::mutex lock_;
    std::condition_variable ending_;
    bool isEnding_ = false;
    std::vector<Sample> samples_;
    std::thread thread_;
};

}  // namespace quillon::testing
