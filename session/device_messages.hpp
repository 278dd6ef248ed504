#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "base/thread_annotations.hpp"
#include "input/input_injector.hpp"
#include "platform/run_loop.hpp"
#include "session/silence_watchdog.hpp"
#include "session/statistics.hpp"
#include "transport/message_reader.hpp"

namespace quillon {

/// What the host does with each message of the device. One per link; `handle` runs on the reader's
/// queue, so a touch reaches the pointer without a detour through the main thread.
class DeviceMessages {
  public:
    /// `onPanelReport` is given the text of each panel report, on the reader's queue.
    DeviceMessages(RunLoop& clock, Instant startTime, std::shared_ptr<Statistics> statistics,
                   std::shared_ptr<SilenceWatchdog> watchdog, std::function<void(std::string)> onPanelReport);

    void handle(const MessageReader::Message& message);

    /// Who is given the touches from now on; without one they are counted only. Any thread.
    void setInjector(std::shared_ptr<InputInjector> injector) EXCLUDES(lock_) {
        const MutexLock held(lock_);
        injector_ = std::move(injector);
    }

    /// Input messages so far. Any thread.
    int64_t inputCount() const { return inputCount_; }

  private:
    void acknowledge(uint64_t echoed);
    std::shared_ptr<InputInjector> injector() EXCLUDES(lock_) {
        const MutexLock held(lock_);
        return injector_;
    }

    RunLoop& clock_;
    const Instant startTime_;
    const std::shared_ptr<Statistics> statistics_;
    const std::shared_ptr<SilenceWatchdog> watchdog_;
    const std::function<void(std::string)> onPanelReport_;
    std::atomic<int64_t> inputCount_ = 0;

    Mutex lock_;
    std::shared_ptr<InputInjector> injector_ GUARDED_BY(lock_);
};

}  // namespace quillon
