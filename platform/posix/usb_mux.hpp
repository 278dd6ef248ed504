#pragma once

#include <semaphore>

#include "base/time.hpp"
#include "platform/usb_mux.hpp"

namespace quillon {

/// usbmuxd through libusbmuxd, which keeps unlocked state of its own for the whole process: one object
/// a process, whose calls take turns. A service that hangs holds each call for seconds, and callers come
/// back; so a call that waited `longestWait` for its turn answers as if there were no service, and they
/// never pile up.
class LibUsbMux : public UsbMux {
  public:
    explicit LibUsbMux(Duration longestWait = 5s) : longestWait_(longestWait) {}

    std::vector<Device> devices() override;
    std::optional<Device> deviceByUdid(const std::string& udid) override;
    Attempt connect(uint32_t handle, uint16_t port) override;

  private:
    class Turn;

    const Duration longestWait_;
    std::binary_semaphore free_{1};
};

}  // namespace quillon
