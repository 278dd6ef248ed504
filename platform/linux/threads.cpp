#include "platform/linux/threads.hpp"

#include <pthread.h>

#include <condition_variable>
#include <string>
#include <utility>
#include <vector>

namespace quillon {

void nameThisThread(std::string_view name) {
    constexpr size_t kLongest = 15;
    pthread_setname_np(pthread_self(), std::string(name.substr(0, kLongest)).c_str());
}

namespace {

class LinuxSerialQueue : public SerialQueue {
  public:
    explicit LinuxSerialQueue(std::string_view suffix) {
        thread_ = std::thread([this, name = std::string(suffix)] {
            nameThisThread(name);
            serve();
        });
    }
    ~LinuxSerialQueue() override {
        {
            const MutexLock guard(lock_);
            ending_ = true;
        }
        changed_.notify_one();
        thread_.join();
    }
    LinuxSerialQueue(const LinuxSerialQueue&) = delete;
    LinuxSerialQueue& operator=(const LinuxSerialQueue&) = delete;

    void async(Work work) override {
        {
            const MutexLock guard(lock_);
            waiting_.push_back(std::move(work));
        }
        changed_.notify_one();
    }

  private:
    void serve() {
        std::vector<Work> taken;  // changes places with the waiting list, so that neither grows anew
        MutexLock guard(lock_);
        for (;;) {
            while (waiting_.empty() && !ending_) changed_.wait(guard);
            if (waiting_.empty()) return;
            taken.swap(waiting_);
            guard.unlock();
            for (Work& work : taken) {
                work();
                work = nullptr;
            }
            taken.clear();
            guard.lock();
        }
    }

    std::thread thread_;
    Mutex lock_;
    std::condition_variable_any changed_;
    std::vector<Work> waiting_ GUARDED_BY(lock_);
    bool ending_ GUARDED_BY(lock_) = false;
};

class LinuxSemaphore : public Semaphore {
  public:
    void signal() override {
        {
            const MutexLock guard(lock_);
            ++count_;
        }
        changed_.notify_one();
    }
    bool wait(Duration limit) override {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        MutexLock guard(lock_);
        while (count_ == 0) {
            if (changed_.wait_until(guard, deadline) == std::cv_status::timeout && count_ == 0) return false;
        }
        --count_;
        return true;
    }

  private:
    Mutex lock_;
    std::condition_variable_any changed_;
    int count_ GUARDED_BY(lock_) = 0;
};

}  // namespace

LinuxThreads::~LinuxThreads() {
    std::list<Worker> workers;
    {
        const MutexLock guard(lock_);
        workers.splice(workers.end(), workers_);
    }
    for (Worker& worker : workers) worker.thread.join();
}

std::unique_ptr<SerialQueue> LinuxThreads::makeSerialQueue(std::string_view suffix, Priority) {
    return std::make_unique<LinuxSerialQueue>(suffix);
}

void LinuxThreads::runConcurrently(std::function<void()> work) {
    const MutexLock guard(lock_);
    std::erase_if(workers_, [](Worker& worker) {
        if (worker.done) worker.thread.join();
        return worker.done;
    });
    Worker& worker = workers_.emplace_back();
    worker.thread = std::thread([this, &worker, work = std::move(work)]() mutable {
        nameThisThread(".work");
        work();
        work = nullptr;
        const MutexLock finished(lock_);
        worker.done = true;
    });
}

std::shared_ptr<Semaphore> LinuxThreads::makeSemaphore() {
    return std::make_shared<LinuxSemaphore>();
}

}  // namespace quillon
