#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quillon {

/// The service that reaches devices behind a cable (usbmuxd). Its calls may block for seconds when
/// the service hangs, so they never run on the main thread; they may come from several threads and
/// are served one at a time; a call whose turn does not come answers as if there were no service.
class UsbMux {
  public:
    struct Device {
        uint32_t handle = 0;
        std::string udid;  ///< may be empty: the service's own words
        uint32_t productID = 0;
        int connectionType = 0;  ///< 1 cable, 2 network
    };

    virtual ~UsbMux() = default;

    /// All devices in the service's order; empty when there is none, or no service.
    virtual std::vector<Device> devices() = 0;

    /// The cabled device with this identifier; an empty identifier means the first one.
    virtual std::optional<Device> deviceByUdid(const std::string& udid) = 0;

    struct Attempt {
        int result = -1;  ///< a descriptor, possibly non-blocking, or the service's negative answer
        int error = 0;    ///< `errno` after a negative answer
    };
    /// Connects to `port` (host order) on the device.
    virtual Attempt connect(uint32_t handle, uint16_t port) = 0;
};

}  // namespace quillon
