#include "app/device_scanner.hpp"

#include <atomic>

#include "base/log.hpp"
#include "transport/wifi_discovery.hpp"

namespace quillon {

namespace {
constexpr uint16_t kAppPort = 5555;
constexpr Duration kProbeLimit = 1200ms;
constexpr Duration kDiscoveryLimit = 4s;
}  // namespace

bool probeApp(USBLink& link, const std::string& udid, Duration timeout) {
    return link.appIsListening(udid, kAppPort, timeout);
}

/// What a look works with, on the queue.
struct DeviceScanner::Tools {
    explicit Tools(Platform& platform)
        : usb(platform.threads(), platform.sockets(), platform.usbMux()),
          discovery(platform.mainLoop(), platform.serviceBrowser()) {}

    FoundDevices look(const std::string& connected) {
        FoundDevices found;
        for (const auto& device : usb.listDevices()) {
            if (device.udid == connected || probeApp(usb, device.udid, kProbeLimit)) {
                found.udids.push_back(device.udid);
            }
        }
        found.endpoints = discovery.discoverAll(kDiscoveryLimit);
        Log::write("scan found " + std::to_string(found.endpoints.size()) + " Wi-Fi endpoint(s)");
        return found;
    }

    USBLink usb;
    WiFiDiscovery discovery;
    std::atomic<bool> lookWaits = false;
};

DeviceScanner::DeviceScanner(Platform& platform)
    : loop_(platform.mainLoop()),
      threads_(platform.threads()),
      tools_(std::make_shared<Tools>(platform)),
      queue_(platform.threads().makeSerialQueue(".scan", Priority::userInitiated)) {}

DeviceScanner::~DeviceScanner() {
    tools_.reset();
    // The queue's end waits for its work, which may wait for the network: not here.
    threads_.runConcurrently([queue = std::shared_ptr<SerialQueue>(std::move(queue_))] {});
}

void DeviceScanner::scan(const std::string& connected, Report report) {
    if (tools_->lookWaits.exchange(true)) return;
    queue_->async([&loop = loop_, weak = std::weak_ptr(tools_), connected, report = std::move(report)] {
        const auto tools = weak.lock();
        if (!tools) return;
        tools->lookWaits = false;
        loop.post([weak, report, found = tools->look(connected)] {
            if (!weak.expired()) report(found);
        });
    });
}

}  // namespace quillon
