#include "platform/macos/threads.hpp"

#include <algorithm>
#include <string>
#include <utility>

namespace quillon {

namespace {

/// A block that runs `work` once. What the work holds is let go when it has run, not when the system drops
/// the block.
dispatch_block_t blockOf(std::function<void()> work) {
    const auto shared = std::make_shared<std::function<void()>>(std::move(work));
    return ^{
      @autoreleasepool {
          const auto running = std::exchange(*shared, nullptr);
          running();
      }
    };
}

class MacSerialQueue : public SerialQueue {
  public:
    MacSerialQueue(std::string_view suffix, Priority priority)
        : queue_(makeLabelledQueue(suffix, priority)) {}
    ~MacSerialQueue() override {
        // Whatever was accepted stands before this in the queue.
        dispatch_sync(queue_, ^{
                      });
    }
    MacSerialQueue(const MacSerialQueue&) = delete;
    MacSerialQueue& operator=(const MacSerialQueue&) = delete;

    void async(Work work) override { dispatch_async(queue_, blockOf(std::move(work))); }

  private:
    const dispatch_queue_t queue_;
};

class MacSemaphore : public Semaphore {
  public:
    void signal() override { dispatch_semaphore_signal(semaphore_); }
    bool wait(Duration limit) override { return dispatch_semaphore_wait(semaphore_, afterNow(limit)) == 0; }

  private:
    // The system ends a program that drops a semaphore whose count is below the one it was made with.
    const dispatch_semaphore_t semaphore_ = dispatch_semaphore_create(0);
};

}  // namespace

dispatch_queue_t makeLabelledQueue(std::string_view suffix, Priority priority) {
    const std::string label = QUILLON_IDENTIFIER + std::string(suffix);
    const dispatch_qos_class_t quality =
        priority == Priority::userInteractive ? QOS_CLASS_USER_INTERACTIVE : QOS_CLASS_USER_INITIATED;
    return dispatch_queue_create(label.c_str(),
                                 dispatch_queue_attr_make_with_qos_class(DISPATCH_QUEUE_SERIAL, quality, 0));
}

dispatch_time_t afterNow(Duration limit) {
    return dispatch_time(DISPATCH_TIME_NOW, std::max(limit, Duration::zero()).count());
}

MacThreads::MacThreads() : running_(dispatch_group_create()) {}

MacThreads::~MacThreads() {
    dispatch_group_wait(running_, DISPATCH_TIME_FOREVER);
}

std::unique_ptr<SerialQueue> MacThreads::makeSerialQueue(std::string_view suffix, Priority priority) {
    return std::make_unique<MacSerialQueue>(suffix, priority);
}

void MacThreads::runConcurrently(std::function<void()> work) {
    dispatch_group_async(running_, dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0),
                         blockOf(std::move(work)));
}

std::shared_ptr<Semaphore> MacThreads::makeSemaphore() {
    return std::make_shared<MacSemaphore>();
}

}  // namespace quillon
