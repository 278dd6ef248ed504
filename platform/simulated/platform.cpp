#include "platform/simulated/platform.hpp"

namespace quillon::simulated {

namespace {
constexpr uint16_t kDevicePort = 5555;
constexpr uint32_t kProduct = 0x12ab;
}  // namespace

std::shared_ptr<Device> SimulatedPlatform::attachDevice(const std::string& udid, uint32_t handle) {
    auto device = std::make_shared<Device>(machine, network);
    usb.attached.push_back({{handle, udid, kProduct, 1}, {{kDevicePort, {device}}}});
    return device;
}

std::shared_ptr<Device> SimulatedPlatform::addNetworkDevice(const std::string& address) {
    auto device = std::make_shared<Device>(machine, network);
    network.tcpListeners[address] = {device};
    return device;
}

}  // namespace quillon::simulated
