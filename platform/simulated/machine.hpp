#pragma once

#include <deque>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <semaphore>
#include <thread>
#include <vector>

#include "base/time.hpp"

namespace quillon::simulated {

/// A machine with a virtual clock. Its threads are real ones, but only one runs at a time: whoever
/// blocks hands the baton to the next that is ready, and when none is, the clock jumps to the next
/// deadline. So blocking code runs as it stands, in a reproducible order, and an hour takes a moment.
///
/// The thread that makes the machine is its main thread. Because of the baton nothing in a simulated
/// machine needs a lock; nothing of it may be called from foreign threads.
class Machine {
  public:
    Machine();
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    Instant now() const { return now_; }

    /// What a thread waits for. Signalling wakes all who wait.
    class WaitPoint;

    /// Blocks the calling thread until `point` is signalled; false when `deadline` came first.
    bool wait(WaitPoint& point, std::optional<Instant> deadline = std::nullopt);
    void signal(WaitPoint& point);

    /// Runs `event` at `moment`, between two turns of the threads. It must not block.
    void at(Instant moment, std::function<void()> event);
    void after(Duration delay, std::function<void()> event) { at(now_ + delay, std::move(event)); }

    /// The machine sleeps: the clock jumps, and what was due meanwhile is late.
    void suspend(Duration duration) { now_ += duration; }

    /// Starts a thread; it is joined after it has ended, at the latest by the machine's destructor.
    void spawn(std::function<void()> body);

    /// Waits until every other thread has ended. For the end of a run, when the owners of queues are gone
    /// and what is left are concurrent pieces of work on their way out.
    void settle();

    /// Threads that have not ended, the main thread left out: what a leak check counts.
    size_t liveThreads() const { return live_; }

  private:
    struct Strand {
        std::binary_semaphore baton{0};
        std::thread thread;
        std::optional<Instant> deadline;
        WaitPoint* waitingFor = nullptr;
        bool signalled = false;
        bool ended = false;
    };

    void makeReady(Strand& strand, bool signalled);
    void passBaton();
    bool advanceClock();
    void joinEnded();

    Instant now_{std::chrono::hours(1)};
    std::list<Strand> strands_;  ///< the first is the main thread
    Strand* running_;
    std::deque<Strand*> ready_;
    std::multimap<Instant, std::function<void()>> events_;
    size_t live_ = 0;
};

class Machine::WaitPoint {
  public:
    WaitPoint() = default;
    WaitPoint(const WaitPoint&) = delete;
    WaitPoint& operator=(const WaitPoint&) = delete;

  private:
    friend class Machine;
    std::vector<Strand*> waiting_;
};

}  // namespace quillon::simulated
