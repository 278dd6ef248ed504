#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "platform/run_loop.hpp"

namespace quillon {

/// The timers of one run loop, in the order of their deadlines (equal deadlines in the order of
/// arming). Knows no clock: the loop tells it the time. Owned by the loop; main thread only.
class TimerQueue {
  public:
    TimerQueue() : alive_(std::make_shared<TimerQueue*>(this)) {}
    ~TimerQueue() { *alive_ = nullptr; }
    TimerQueue(const TimerQueue&) = delete;
    TimerQueue& operator=(const TimerQueue&) = delete;

    std::unique_ptr<Timer> add(Instant now, Duration interval, RunLoop::Repeat repeat, RunLoop::Action action,
                               Duration tolerance);

    /// When the loop must wake at the latest; nothing without timers. Timers whose tolerance allows it
    /// share a wake-up.
    std::optional<Instant> nextWake() const;

    /// Runs every timer that is due at `now`, each at most once.
    void runDue(Instant now);

  private:
    using Key = std::pair<Instant, uint64_t>;
    struct Entry {
        Duration interval;
        Duration tolerance;
        RunLoop::Repeat repeat;
        std::shared_ptr<RunLoop::Action> action;
    };
    class Handle;

    void remove(uint64_t id);

    std::map<Key, Entry> entries_;      ///< by deadline
    std::map<uint64_t, Instant> byId_;  ///< where an entry stands in `entries_`
    uint64_t lastId_ = 0;
    std::shared_ptr<TimerQueue*> alive_;  ///< null once the queue is gone: handles may outlive it
};

}  // namespace quillon
