#pragma once

#include "base/thread_annotations.hpp"
#include "platform/usb_mux.hpp"

namespace quillon {

/// usbmuxd through libusbmuxd, which keeps unlocked state of its own for the whole process: one object
/// a process, whose lock its calls take turns on.
class LibUsbMux : public UsbMux {
  public:
    std::vector<Device> devices() override;
    std::optional<Device> deviceByUdid(const std::string& udid) override;
    Attempt connect(uint32_t handle, uint16_t port) override;

  private:
    Mutex library_;
};

}  // namespace quillon
