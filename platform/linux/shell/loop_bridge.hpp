#pragma once

#include <QSocketNotifier>
#include <functional>
#include <utility>

namespace quillon {

/// The program's run loop inside the toolkit's: one descriptor among those that the toolkit waits for. Nobody
/// wakes up but for something to do, and timers keep the exactness of the program's own loop.
class LoopBridge {
  public:
    LoopBridge(int descriptor, std::function<void()> turn)
        : notifier_(descriptor, QSocketNotifier::Read), turn_(std::move(turn)) {
        QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this] { turn_(); });
    }

  private:
    QSocketNotifier notifier_;
    std::function<void()> turn_;
};

}  // namespace quillon
