#include "platform/timer_queue.hpp"

#include <algorithm>
#include <vector>

namespace quillon {

class TimerQueue::Handle : public Timer {
  public:
    Handle(std::shared_ptr<TimerQueue*> queue, uint64_t id) : queue_(std::move(queue)), id_(id) {}
    ~Handle() override {
        if (*queue_) (*queue_)->remove(id_);
    }

  private:
    std::shared_ptr<TimerQueue*> queue_;
    uint64_t id_;
};

std::unique_ptr<Timer> TimerQueue::add(Instant now, Duration interval, RunLoop::Repeat repeat,
                                       RunLoop::Action action, Duration tolerance) {
    constexpr Duration kShortestPeriod = 1ms;
    constexpr Duration kLongestWait = std::chrono::hours(24 * 365);
    const Duration shortest = repeat == RunLoop::Repeat::forever ? kShortestPeriod : Duration::zero();
    interval = std::clamp(interval, shortest, kLongestWait);
    const uint64_t id = ++lastId_;
    const Instant deadline = now + interval;
    entries_.emplace(Key{deadline, id}, Entry{interval, std::clamp(tolerance, Duration::zero(), kLongestWait),
                                              repeat, std::make_shared<RunLoop::Action>(std::move(action))});
    byId_.emplace(id, deadline);
    return std::make_unique<Handle>(alive_, id);
}

std::optional<Instant> TimerQueue::nextWake() const {
    std::optional<Instant> wake;
    for (const auto& [key, entry] : entries_) {
        if (wake && key.first >= *wake) break;
        const Instant latest = key.first + entry.tolerance;
        wake = wake ? std::min(*wake, latest) : latest;
    }
    return wake;
}

void TimerQueue::runDue(Instant now) {
    std::vector<uint64_t> due;
    for (const auto& [key, entry] : entries_) {
        if (key.first > now) break;
        due.push_back(key.second);
    }
    for (const uint64_t id : due) {
        const auto found = byId_.find(id);  // an earlier action may have removed it
        if (found == byId_.end()) continue;
        auto node = entries_.extract(Key{found->second, id});
        const auto action = node.mapped().action;  // the action may destroy its timer
        if (node.mapped().repeat == RunLoop::Repeat::once) {
            byId_.erase(found);
        } else {
            const Duration interval = node.mapped().interval;
            const auto missed = (now - found->second) / interval;
            found->second += (missed + 1) * interval;
            node.key().first = found->second;
            entries_.insert(std::move(node));
        }
        (*action)();
    }
}

void TimerQueue::remove(uint64_t id) {
    const auto found = byId_.find(id);
    if (found == byId_.end()) return;
    entries_.erase(Key{found->second, id});
    byId_.erase(found);
}

}  // namespace quillon
