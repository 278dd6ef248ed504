#include "app/device_list_mode.hpp"

#include <cstdio>

namespace quillon {

void printDevices(USBLink& link) {
    std::puts("[devices] usbmuxd:");
    for (const USBLink::USBDevice& device : link.listDevices()) {
        std::printf("  %s  product=%u  conn=%d\n", device.udid.c_str(), device.productID,
                    device.connectionType);
    }
}

}  // namespace quillon
