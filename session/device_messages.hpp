#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/geometry.hpp"
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
    /// `panel` is the size known so far. `onPanelChanged` is called on the reader's queue when another one is
    /// reported and none waits: however much a device reports, one size at most is under way.
    DeviceMessages(RunLoop& clock, Instant startTime, std::shared_ptr<Statistics> statistics,
                   std::shared_ptr<SilenceWatchdog> watchdog, std::optional<Size> panel,
                   std::function<void()> onPanelChanged);

    void handle(const MessageReader::Message& message);

    /// Who is given the touches from now on; without one they are counted only. Any thread.
    void setInjector(std::shared_ptr<InputInjector> injector) EXCLUDES(lock_) {
        const MutexLock held(lock_);
        injector_ = std::move(injector);
    }

    /// The size reported last, once; nothing when it has been taken. Any thread.
    std::optional<Size> takePanel() EXCLUDES(lock_) {
        const MutexLock held(lock_);
        return std::exchange(waitingPanel_, std::nullopt);
    }

  private:
    void acknowledge(uint64_t echoed);
    void panelReported(const std::string& text) EXCLUDES(lock_);
    std::shared_ptr<InputInjector> injector() EXCLUDES(lock_) {
        const MutexLock held(lock_);
        return injector_;
    }

    RunLoop& clock_;
    const Instant startTime_;
    const std::shared_ptr<Statistics> statistics_;
    const std::shared_ptr<SilenceWatchdog> watchdog_;
    std::optional<Size> panel_;  ///< reported last; reader's queue
    const std::function<void()> onPanelChanged_;

    Mutex lock_;
    std::shared_ptr<InputInjector> injector_ GUARDED_BY(lock_);
    std::optional<Size> waitingPanel_ GUARDED_BY(lock_);
};

}  // namespace quillon
