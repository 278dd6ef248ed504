#include "display/pv_virtual_display.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <utility>

#include "display/virtual_display.hpp"

namespace {

using namespace quillon;

constexpr const char* kDefaultName = "Quillon";

int pixels(uint32_t number) {
    return static_cast<int>(std::min<uint32_t>(number, std::numeric_limits<int>::max()));
}

VirtualDisplay* displayOf(void* handle) {
    return static_cast<VirtualDisplay*>(handle);
}

}  // namespace

void* pv_virtual_display_create(uint32_t width, uint32_t height, int hiDPI, uint32_t maxPixelsWide,
                                uint32_t maxPixelsHigh, const char* name, double refreshRate) {
    return pv_virtual_display_create_modes(width, height, 0, 0, hiDPI, maxPixelsWide, maxPixelsHigh, name,
                                           refreshRate);
}

void* pv_virtual_display_create_modes(uint32_t width, uint32_t height, uint32_t secondWidth,
                                      uint32_t secondHeight, int hiDPI, uint32_t maxPixelsWide,
                                      uint32_t maxPixelsHigh, const char* name, double refreshRate) {
    const std::array widths{width, secondWidth};
    const std::array heights{height, secondHeight};
    const int count = secondWidth != 0 && secondHeight != 0 ? 2 : 1;
    return pv_virtual_display_create_sizes(widths.data(), heights.data(), count, hiDPI, maxPixelsWide,
                                           maxPixelsHigh, name, refreshRate);
}

void* pv_virtual_display_create_sizes(const uint32_t* widths, const uint32_t* heights, int count, int hiDPI,
                                      uint32_t maxPixelsWide, uint32_t maxPixelsHigh, const char* name,
                                      double refreshRate) {
    // A caller in C could not catch what is thrown here.
    try {
        VirtualDisplayRequest request;
        request.name = name != nullptr ? name : kDefaultName;
        for (int i = 0; i < count; ++i) request.modes.push_back({pixels(widths[i]), pixels(heights[i])});
        request.hiDPI = hiDPI != 0;
        request.maxPixels = {pixels(maxPixelsWide), pixels(maxPixelsHigh)};
        request.refreshRate = refreshRate;
        return createVirtualDisplay(*makeVirtualDisplays(), std::move(request)).release();
    } catch (const std::exception&) {
        return nullptr;
    }
}

uint32_t pv_virtual_display_id(void* handle) {
    return handle != nullptr ? displayOf(handle)->id() : 0;
}

void pv_virtual_display_destroy(void* handle) {
    delete displayOf(handle);
}
