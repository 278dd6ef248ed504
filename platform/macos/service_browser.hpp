#pragma once

#include "platform/service_browser.hpp"

namespace quillon {

/// Foundation's net services, served by the run loop of the searching thread. The system asks the user for
/// the local network when the application first searches; while it is refused nothing is found.
class MacServiceBrowser : public ServiceBrowser {
  public:
    std::unique_ptr<Search> search(const std::string& type, const std::string& domain,
                                   Callbacks callbacks) override;
    std::vector<std::string> interfaceAddresses() override;
};

}  // namespace quillon
