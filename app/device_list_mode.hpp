#pragma once

#include "transport/usb_link.hpp"

namespace quillon {

/// Prints the devices that usbmuxd reports, one line each. Blocks as long as usbmuxd does.
void printDevices(USBLink& link);

}  // namespace quillon
