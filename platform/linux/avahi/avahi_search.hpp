#pragma once

#include <memory>

#include "platform/service_browser.hpp"

namespace quillon::avahi {

/// A search through the Avahi daemon. Its calls may block for as long as the message bus is patient, 25 s
/// each, when the daemon hangs.
std::unique_ptr<ServiceBrowser::Search> makeAvahiSearch(const std::string& type, const std::string& domain,
                                                        ServiceBrowser::Callbacks callbacks);

}  // namespace quillon::avahi
