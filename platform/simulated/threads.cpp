#include "platform/simulated/threads.hpp"

#include <deque>
#include <utility>

namespace quillon::simulated {

namespace {

class SimulatedSerialQueue : public SerialQueue {
  public:
    explicit SimulatedSerialQueue(Machine& machine) : machine_(machine) {
        machine_.spawn([this] { serve(); });
    }
    ~SimulatedSerialQueue() override {
        ending_ = true;
        machine_.signal(changed_);
        while (!ended_) machine_.wait(changed_);
    }
    SimulatedSerialQueue(const SimulatedSerialQueue&) = delete;
    SimulatedSerialQueue& operator=(const SimulatedSerialQueue&) = delete;

    void async(Work work) override {
        waiting_.push_back(std::move(work));
        machine_.signal(changed_);
    }

  private:
    void serve() {
        for (;;) {
            while (waiting_.empty() && !ending_) machine_.wait(changed_);
            if (waiting_.empty()) break;
            Work work = std::move(waiting_.front());
            waiting_.pop_front();
            work();
        }
        ended_ = true;
        machine_.signal(changed_);
    }

    Machine& machine_;
    Machine::WaitPoint changed_;
    std::deque<Work> waiting_;
    bool ending_ = false;
    bool ended_ = false;
};

class SimulatedSemaphore : public Semaphore {
  public:
    explicit SimulatedSemaphore(Machine& machine) : machine_(machine) {}
    void signal() override {
        ++count_;
        machine_.signal(changed_);
    }
    bool wait(Duration limit) override {
        const Instant deadline = machine_.now() + limit;
        while (count_ == 0) {
            if (!machine_.wait(changed_, deadline) && count_ == 0) return false;
        }
        --count_;
        return true;
    }

  private:
    Machine& machine_;
    Machine::WaitPoint changed_;
    int count_ = 0;
};

}  // namespace

std::unique_ptr<SerialQueue> SimulatedThreads::makeSerialQueue(std::string_view, Priority) {
    return std::make_unique<SimulatedSerialQueue>(machine_);
}

std::shared_ptr<Semaphore> SimulatedThreads::makeSemaphore() {
    return std::make_shared<SimulatedSemaphore>(machine_);
}

}  // namespace quillon::simulated
