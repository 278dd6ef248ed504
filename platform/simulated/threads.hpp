#pragma once

#include "platform/simulated/machine.hpp"
#include "platform/threads.hpp"

namespace quillon::simulated {

/// Queues and workers as threads of the simulated machine.
class SimulatedThreads : public Threads {
  public:
    explicit SimulatedThreads(Machine& machine) : machine_(machine) {}

    std::unique_ptr<SerialQueue> makeSerialQueue(std::string_view suffix, Priority priority) override;
    void runConcurrently(std::function<void()> work) override { machine_.spawn(std::move(work)); }
    std::shared_ptr<Semaphore> makeSemaphore() override;

  private:
    Machine& machine_;
};

}  // namespace quillon::simulated
