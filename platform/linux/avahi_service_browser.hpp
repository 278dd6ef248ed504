#pragma once

#include "platform/service_browser.hpp"

namespace quillon {

/// Services that the machine's Avahi daemon knows. It is talked to from a module that is loaded for the first
/// search. A daemon that is absent, or goes away, is looked for again as long as a search runs, and so is the
/// message bus that leads to it. Any thread.
class AvahiServices : public ServiceBrowser {
  public:
    std::unique_ptr<Search> search(const std::string& type, const std::string& domain,
                                   Callbacks callbacks) override;
    std::vector<std::string> interfaceAddresses() override;
};

}  // namespace quillon
