#include "display/virtual_display.hpp"

namespace quillon {

std::unique_ptr<VirtualDisplay> createVirtualDisplay(VirtualDisplays& service,
                                                     VirtualDisplayRequest request) {
    std::erase_if(request.modes, [](Size mode) { return mode.isEmpty(); });
    if (request.modes.empty()) return nullptr;
    return service.create(request);
}

}  // namespace quillon
