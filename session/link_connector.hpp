#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "platform/platform.hpp"
#include "platform/task.hpp"
#include "session/link.hpp"
#include "session/types.hpp"
#include "transport/usb_link.hpp"
#include "transport/wifi_discovery.hpp"

namespace quillon {

/// A fresh connection and what is known about it.
struct Connection {
    OwnedDescriptor socket;
    std::string activeTransport;  ///< for the user; begins with "USB" or "Wi-Fi"
    std::string connectedUDID;    ///< empty unless it runs over usbmux
    std::string greeting;
};

/// Chooses a link by the user's configuration and opens it: an explicit host, the cable, a known Wi-Fi
/// host, or the first device found on the network.
class LinkConnector : public std::enable_shared_from_this<LinkConnector> {
  public:
    explicit LinkConnector(Platform& platform);

    /// Up to ten attempts, 0.6 s apart. Destroying the task ends the attempt that runs just then before its
    /// next step, so that it does not come between a newer one and the device. Main thread.
    static Task<std::optional<Connection>> connectWithRetry(std::shared_ptr<LinkConnector> self,
                                                            SessionConfig config);

    /// One attempt; `wanted` is asked before each step. Blocks; never on the main thread.
    std::optional<Connection> connectOnce(const SessionConfig& config, const std::atomic<bool>& wanted);

    /// The device that a cabled link would use now: the configured one when it is present, otherwise the
    /// only cabled one. Blocks; never on the main thread.
    std::optional<std::string> cabledDevice(const SessionConfig& config);

  private:
    std::optional<std::string> usbDevice(const SessionConfig& config);
    std::optional<Connection> connectUSB(const std::string& udid, uint16_t port);
    std::optional<Connection> connectTCP(const std::string& host, uint16_t port);

    Platform& platform_;
    USBLink usbLink_;
    WiFiDiscovery discovery_;
};

/// "USB link (host)" for a link-local address, else "Wi-Fi (host)".
std::string tcpLinkDescription(const std::string& host);

}  // namespace quillon
