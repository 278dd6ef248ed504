#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/device_entries.hpp"
#include "platform/platform.hpp"
#include "transport/usb_link.hpp"

namespace quillon {

/// Whether the companion app on a USB device answers, decided within `timeout`. Blocks: not on the main
/// thread. An answer that comes later is ignored.
bool probeApp(USBLink& link, const std::string& udid, Duration timeout);

/// Looks for devices that run the companion app, over USB and over Wi-Fi, one look at a time on the queue
/// ".scan". A look takes the four seconds of discovery, and up to 1.2 s more for each silent device.
///
/// Main thread. A look that is under way when this goes comes to its end, at the latest before the platform's
/// threads do, and reports to nobody.
class DeviceScanner {
  public:
    using Report = std::function<void(FoundDevices found)>;

    /// `platform` outlives this.
    explicit DeviceScanner(Platform& platform);
    ~DeviceScanner();
    DeviceScanner(const DeviceScanner&) = delete;
    DeviceScanner& operator=(const DeviceScanner&) = delete;

    /// Looks once more and calls `report` on the main thread, unless the scanner is gone by then. `connected`
    /// is the USB device that a session uses: its app listens, and is not disturbed. While one look waits for
    /// its turn no other is added; the one that waits will see the same.
    void scan(const std::string& connected, Report report);

  private:
    struct Tools;

    RunLoop& loop_;
    Threads& threads_;
    std::shared_ptr<Tools> tools_;
    std::unique_ptr<SerialQueue> queue_;
};

}  // namespace quillon
