#pragma once

#import <dispatch/dispatch.h>

#include <string_view>

#include "platform/threads.hpp"

namespace quillon {

/// A serial queue of the system, labelled with the application identifier followed by `suffix`.
dispatch_queue_t makeLabelledQueue(std::string_view suffix, Priority priority);

/// The time `limit` from now, for the waits of libdispatch.
dispatch_time_t afterNow(Duration limit);

/// Dispatch queues; concurrent work runs on the global queue of user-initiated work. The ends of a queue and
/// of this object wait as long as the work does, so each call of a system service that may hang has a limit
/// of its own where it is made.
class MacThreads : public Threads {
  public:
    MacThreads();
    ~MacThreads() override;
    MacThreads(const MacThreads&) = delete;
    MacThreads& operator=(const MacThreads&) = delete;

    std::unique_ptr<SerialQueue> makeSerialQueue(std::string_view suffix, Priority priority) override;
    void runConcurrently(std::function<void()> work) override;
    std::shared_ptr<Semaphore> makeSemaphore() override;

  private:
    const dispatch_group_t running_;
};

}  // namespace quillon
