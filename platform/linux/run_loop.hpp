#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <vector>

#include "base/descriptor.hpp"
#include "base/thread_annotations.hpp"
#include "platform/run_loop.hpp"
#include "platform/timer_queue.hpp"

namespace quillon {

/// The run loop over one epoll descriptor. That descriptor is readable whenever the loop has something
/// to do, so a toolkit's loop can host this one: watch `descriptor`, call `runReady`.
class LinuxRunLoop : public RunLoop {
  public:
    LinuxRunLoop();
    LinuxRunLoop(const LinuxRunLoop&) = delete;
    LinuxRunLoop& operator=(const LinuxRunLoop&) = delete;

    Instant now() const override;
    void post(Action action) override;
    [[nodiscard]] std::unique_ptr<Timer> addTimer(Duration interval, Repeat repeat, Action action,
                                                  Duration tolerance) override;
    void run() override;
    void stop() override;

    int descriptor() const { return epoll_.get(); }

    /// One turn without waiting: what is due and readable now. Main thread.
    void runReady();

    /// A watched descriptor; destroying it ends the watch, also from its own action.
    class Watch {
      public:
        Watch(LinuxRunLoop& loop, int descriptor);
        ~Watch();
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;

      private:
        LinuxRunLoop& loop_;
        int descriptor_;
    };
    /// Calls `action` on the main thread while `descriptor` is readable or broken. The descriptor stays
    /// the caller's and outlives the watch, the watch never outlives the loop. One watch a descriptor.
    /// Main thread.
    [[nodiscard]] std::unique_ptr<Watch> watchReadable(int descriptor, Action action);

  private:
    void turn(int waitMilliseconds);
    void armAlarm();
    void runPosted();

    const Descriptor epoll_;
    const Descriptor wake_;   ///< eventfd: something was posted, or `stop`
    const Descriptor alarm_;  ///< timerfd: the next timer

    // main thread only
    TimerQueue timers_;
    std::map<int, std::shared_ptr<Action>> watched_;
    Instant armedFor_ = Instant::max();

    std::atomic<bool> stopping_ = false;
    Mutex lock_;
    std::vector<Action> posted_ GUARDED_BY(lock_);
};

}  // namespace quillon
