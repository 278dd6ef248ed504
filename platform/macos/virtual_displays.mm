#include "platform/macos/virtual_displays.hpp"

#include "platform/macos/pv_virtual_display.h"

namespace quillon {

namespace {

class MacVirtualDisplay : public VirtualDisplay {
  public:
    explicit MacVirtualDisplay(void* handle) : handle_(handle) {}
    ~MacVirtualDisplay() override { pv_virtual_display_destroy(handle_); }
    MacVirtualDisplay(const MacVirtualDisplay&) = delete;
    MacVirtualDisplay& operator=(const MacVirtualDisplay&) = delete;
    DisplayID id() const override { return pv_virtual_display_id(handle_); }

  private:
    void* const handle_;
};

}  // namespace

std::unique_ptr<VirtualDisplay> MacVirtualDisplays::create(const VirtualDisplayRequest& request) {
    std::vector<uint32_t> widths;
    std::vector<uint32_t> heights;
    for (const Size& mode : request.modes) {
        widths.push_back(static_cast<uint32_t>(mode.width));
        heights.push_back(static_cast<uint32_t>(mode.height));
    }
    void* const handle = pv_virtual_display_create_sizes(
        widths.data(), heights.data(), static_cast<int>(widths.size()), request.hiDPI ? 1 : 0,
        static_cast<uint32_t>(request.maxPixels.width), static_cast<uint32_t>(request.maxPixels.height),
        request.name.c_str(), request.refreshRate);
    if (handle == nullptr) return nullptr;
    return std::make_unique<MacVirtualDisplay>(handle);
}

}  // namespace quillon
