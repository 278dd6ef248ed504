#pragma once

#include <QSocketNotifier>
#include <functional>

namespace quillon {

/// SIGINT and SIGTERM as a call on the main thread. A second signal ends the process at once: whoever sends
/// it did not want to wait. One object in a process.
class EndSignals {
  public:
    explicit EndSignals(std::function<void()> action);
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

  private:
    const int event_;
    QSocketNotifier notifier_;
};

}  // namespace quillon
