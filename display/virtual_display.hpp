#pragma once

#include <memory>

#include "platform/virtual_displays.hpp"

namespace quillon {

/// The one way to a virtual display, for the session as for callers in C. Modes without a size are left out;
/// without any mode, as without the system's help, the answer is null. Any thread; may take some hundred
/// milliseconds.
std::unique_ptr<VirtualDisplay> createVirtualDisplay(VirtualDisplays& service, VirtualDisplayRequest request);

}  // namespace quillon
