#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "app/display_modes.hpp"
#include "app/display_text.hpp"
#include "base/geometry.hpp"

namespace quillon {

namespace {

constexpr Size kLargestDisplay{8192, 8192};

/// Without a limit on the command line that of the largest display.
int limitOr(int64_t asked, int largest) {
    return asked > 0 ? static_cast<int>(std::min<int64_t>(asked, largest)) : largest;
}

std::vector<Size> probedSizes(const Options& options, Size limit) {
    const Size points = displaySize(options.virtualWidth, options.virtualHeight);
    std::vector<Size> sizes{doubled(points)};
    if (options.twoModes) sizes.push_back(points);
    std::erase_if(sizes, [limit](Size size) {
        return size.isEmpty() || size.width > limit.width || size.height > limit.height;
    });
    return sizes;
}

}  // namespace

int runModeProbe(Platform& platform, const Options& options) {
    const Size limit{limitOr(options.maxPixelsWide, kLargestDisplay.width),
                     limitOr(options.maxPixelsHigh, kLargestDisplay.height)};
    VirtualDisplayRequest request;
    request.name = "Mode Probe";
    request.modes = probedSizes(options, limit);
    request.hiDPI = true;
    request.maxPixels = limit;
    const auto display = platform.virtualDisplays().create(request);
    if (!display || display->id() == 0) {
        std::puts("create failed");
        return EXIT_FAILURE;
    }
    std::printf("[probe] created id=%u, at most %s pixels\n", display->id(), sizeText(limit).c_str());
    Displays& displays = platform.displays();
    const auto current = displays.currentMode(display->id());
    for (const DisplayMode& mode : displays.modes(display->id())) {
        std::printf("[probe] %s%s\n", modeText(mode).c_str(), mode == current ? "  current" : "");
    }
    return EXIT_SUCCESS;
}

}  // namespace quillon
