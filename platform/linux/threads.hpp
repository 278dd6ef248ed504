#pragma once

#include <list>
#include <thread>

#include "base/thread_annotations.hpp"
#include "platform/threads.hpp"

namespace quillon {

/// Gives the calling thread a name that debuggers and `top` show: at most 15 characters are kept.
void nameThisThread(std::string_view name);

/// Queues as one thread each, named after their suffix; concurrent work as one short-lived thread each.
class LinuxThreads : public Threads {
  public:
    LinuxThreads() = default;
    ~LinuxThreads() override;
    LinuxThreads(const LinuxThreads&) = delete;
    LinuxThreads& operator=(const LinuxThreads&) = delete;

    std::unique_ptr<SerialQueue> makeSerialQueue(std::string_view suffix, Priority priority) override;
    void runConcurrently(std::function<void()> work) override;
    std::shared_ptr<Semaphore> makeSemaphore() override;

  private:
    struct Worker {
        std::thread thread;
        bool done = false;
    };
    Mutex lock_;
    std::list<Worker> workers_ GUARDED_BY(lock_);
};

}  // namespace quillon
