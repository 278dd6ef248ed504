#include "platform/simulated/service_browser.hpp"

#include <map>
#include <utility>

namespace quillon::simulated {

namespace {

class SimulatedSearch : public ServiceBrowser::Search {
  public:
    SimulatedSearch(Machine& machine, const SimulatedServiceBrowser& world,
                    ServiceBrowser::Callbacks callbacks)
        : machine_(machine), callbacks_(std::move(callbacks)), services_(world.services) {
        if (!world.failure.empty()) {
            due_.emplace(machine_.now(),
                         [this, failure = world.failure] { callbacks_.onNotSearching(failure); });
            return;
        }
        for (const auto& each : services_) {
            due_.emplace(machine_.now() + each.foundAfter,
                         [this, &each] { callbacks_.onFound(each.service.name); });
        }
    }

    void run(Duration slice) override {
        const Instant end = machine_.now() + slice;
        bool served = false;
        while (!due_.empty() && due_.begin()->first <= end && !served) {
            const auto [moment, action] = *due_.begin();
            due_.erase(due_.begin());
            Machine::WaitPoint never;
            if (moment > machine_.now()) machine_.wait(never, moment);
            action();
            served = true;
        }
        if (served) return;
        Machine::WaitPoint never;
        machine_.wait(never, end);
    }

    void resolve(const std::string& name, Duration limit) override {
        for (const auto& each : services_) {
            if (each.service.name != name) continue;
            if (each.resolvedAfter <= limit) {
                due_.emplace(machine_.now() + each.resolvedAfter,
                             [this, &each] { callbacks_.onResolved(each.service); });
            } else {
                due_.emplace(machine_.now() + limit,
                             [this, name] { callbacks_.onNotResolved(name, "timed out"); });
            }
        }
    }

  private:
    Machine& machine_;
    ServiceBrowser::Callbacks callbacks_;
    const std::vector<SimulatedServiceBrowser::Announced> services_;
    std::multimap<Instant, std::function<void()>> due_;
};

}  // namespace

std::unique_ptr<ServiceBrowser::Search> SimulatedServiceBrowser::search(const std::string&,
                                                                        const std::string&,
                                                                        Callbacks callbacks) {
    ++searches;
    return std::make_unique<SimulatedSearch>(machine_, *this, std::move(callbacks));
}

}  // namespace quillon::simulated
