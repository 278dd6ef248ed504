#pragma once

#include <string>
#include <vector>

#include "platform/service_browser.hpp"
#include "platform/simulated/machine.hpp"

namespace quillon::simulated {

/// A local network with the services a test puts there.
class SimulatedServiceBrowser : public ServiceBrowser {
  public:
    explicit SimulatedServiceBrowser(Machine& machine) : machine_(machine) {}

    struct Announced {
        Service service;
        Duration foundAfter = 10ms;
        Duration resolvedAfter = 20ms;  ///< after resolving began
    };
    std::vector<Announced> services;
    std::vector<std::string> interfaces;
    std::string failure;  ///< not empty: searching is not possible, in these words
    int searches = 0;

    std::unique_ptr<Search> search(const std::string& type, const std::string& domain,
                                   Callbacks callbacks) override;
    std::vector<std::string> interfaceAddresses() override { return interfaces; }

  private:
    Machine& machine_;
};

}  // namespace quillon::simulated
