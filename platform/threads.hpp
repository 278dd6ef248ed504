#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "base/time.hpp"

namespace quillon {

/// Runs work one piece at a time, in order, off the main thread.
class SerialQueue {
  public:
    using Work = std::function<void()>;

    /// Runs what was already accepted to its end and joins. So a queue whose work can block for ever
    /// (a reader in `receive`) needs that block ended first. Never destroyed from its own work.
    virtual ~SerialQueue() = default;

    /// Appends `work`. Any thread.
    virtual void async(Work work) = 0;
};

/// Counts signals; `wait` takes one.
class Semaphore {
  public:
    virtual ~Semaphore() = default;
    virtual void signal() = 0;
    /// False when `limit` passed without a signal.
    [[nodiscard]] virtual bool wait(Duration limit) = 0;
};

enum class Priority { userInteractive, userInitiated };

/// Makes the threads of the program, so that a simulated run can make its own.
class Threads {
  public:
    virtual ~Threads() = default;

    /// A queue whose label is the application identifier followed by `suffix`, for example ".reader".
    virtual std::unique_ptr<SerialQueue> makeSerialQueue(std::string_view suffix, Priority priority) = 0;

    /// Runs `work`, which may block for seconds, beside everything else. Any thread. The destructor
    /// of `Threads` waits for work that still runs.
    virtual void runConcurrently(std::function<void()> work) = 0;

    virtual std::shared_ptr<Semaphore> makeSemaphore() = 0;
};

}  // namespace quillon
