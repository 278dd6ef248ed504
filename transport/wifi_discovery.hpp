#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/time.hpp"
#include "platform/run_loop.hpp"
#include "platform/service_browser.hpp"

namespace quillon {

/// Is this address (numeric) of the device's own network over the cable, 169.254.0.0/16?
bool isLinkLocal(std::string_view host);

/// Finds the app on the local network. `USBLink::connectTCP` connects to what it finds.
///
/// Holds nothing between two searches; the services it is made over outlive it. Both operations block
/// their thread, which is not the main one, and may run side by side on several threads.
class WiFiDiscovery {
  public:
    struct Endpoint {
        std::string host;  ///< numeric IPv4 address
        uint16_t port = 0;
        std::string name;                  ///< of the service
        std::optional<std::string> model;  ///< of the device
        bool operator==(const Endpoint&) const = default;
    };

    /// Of `clock` only the time is asked for.
    WiFiDiscovery(RunLoop& clock, ServiceBrowser& browser) : clock_(clock), browser_(browser) {}

    /// The first endpoint that resolves; nothing when `timeout` passes first.
    std::optional<Endpoint> discover(Duration timeout);

    /// Every distinct endpoint that resolves within `timeout`, in the order of resolution.
    std::vector<Endpoint> discoverAll(Duration timeout);

  private:
    class Finder;

    RunLoop& clock_;
    ServiceBrowser& browser_;
};

}  // namespace quillon
