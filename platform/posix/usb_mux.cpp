#include "platform/posix/usb_mux.hpp"

#include <fcntl.h>
#include <usbmuxd.h>

#include <cerrno>
#include <cstring>

namespace quillon {
namespace {

UsbMux::Device deviceOf(const usbmuxd_device_info_t& record) {
    // The field need not be terminated.
    return {record.handle, std::string(record.udid, strnlen(record.udid, sizeof record.udid)),
            record.product_id, static_cast<int>(record.conn_type)};
}

/// The identifier as libusbmuxd compares it: one of 24 characters gets a hyphen after the eighth. People
/// know it in both forms.
std::string comparable(const std::string& udid) {
    constexpr size_t kPlainLength = 24;
    constexpr size_t kFirstPart = 8;
    if (udid.size() != kPlainLength || udid.find('-') != std::string::npos) return udid;
    return udid.substr(0, kFirstPart) + "-" + udid.substr(kFirstPart);
}

}  // namespace

class LibUsbMux::Turn {
  public:
    explicit Turn(LibUsbMux& mux) : mux_(mux), taken_(mux.free_.try_acquire_for(mux.longestWait_)) {}
    ~Turn() {
        if (taken_) mux_.free_.release();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    explicit operator bool() const { return taken_; }

  private:
    LibUsbMux& mux_;
    const bool taken_;
};

std::vector<UsbMux::Device> LibUsbMux::devices() {
    const Turn turn(*this);
    if (!turn) return {};
    usbmuxd_device_info_t* records = nullptr;
    const int count = usbmuxd_get_device_list(&records);
    std::vector<Device> devices;
    if (!records) return devices;
    for (int i = 0; i < count; ++i) devices.push_back(deviceOf(records[i]));
    usbmuxd_device_list_free(&records);
    return devices;
}

std::optional<UsbMux::Device> LibUsbMux::deviceByUdid(const std::string& udid) {
    const Turn turn(*this);
    if (!turn) return std::nullopt;
    usbmuxd_device_info_t record{};
    if (usbmuxd_get_device_by_udid(comparable(udid).c_str(), &record) < 1) return std::nullopt;
    return deviceOf(record);
}

UsbMux::Attempt LibUsbMux::connect(uint32_t handle, uint16_t port) {
    const Turn turn(*this);
    if (!turn) return {-ETIMEDOUT, ETIMEDOUT};
    errno = 0;
    const int result = usbmuxd_connect(handle, port);
    if (result < 0) return {result, errno};
    // The library does not: a program that this one starts would hold the device's connection.
    fcntl(result, F_SETFD, FD_CLOEXEC);
    return {result, 0};
}

}  // namespace quillon
