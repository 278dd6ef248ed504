#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <deque>

#include "base/thread_annotations.hpp"
#include "platform/macos/owned.hpp"
#include "platform/run_loop.hpp"

namespace quillon {

/// The main thread's run loop. Posted work is a source of it and timers are its own, all in the common modes:
/// they run under `run` as well as under the application's loop, also while a menu or an alert is open. (The
/// main dispatch queue would not do: it stands still while one of its own blocks shows an alert.)
class MacRunLoop : public RunLoop {
  public:
    MacRunLoop();
    ~MacRunLoop() override;
    MacRunLoop(const MacRunLoop&) = delete;
    MacRunLoop& operator=(const MacRunLoop&) = delete;

    Instant now() const override;
    void post(Action action) override;
    [[nodiscard]] std::unique_ptr<Timer> addTimer(Duration interval, Repeat repeat, Action action,
                                                  Duration tolerance) override;
    void run() override;
    void stop() override;

  private:
    static void perform(void* loop);
    void runPosted();

    const Owned<CFRunLoopSourceRef> source_;
    std::atomic<bool> stopping_ = false;
    Mutex lock_;
    std::deque<Action> posted_ GUARDED_BY(lock_);
};

}  // namespace quillon
