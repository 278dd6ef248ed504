#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "app/display_modes.hpp"
#include "app/display_text.hpp"
#include "app/wait.hpp"
#include "base/geometry.hpp"

namespace quillon {

namespace {

/// A new mode needs this long to show whether it lasts.
constexpr Duration kModeSettles = 400ms;

std::string joined(const std::vector<DisplayMode>& modes) {
    std::string text;
    for (const DisplayMode& mode : modes) text += (text.empty() ? "" : ", ") + modeText(mode);
    return text;
}

void tryDoubleDensity(Platform& platform, DisplayID display, Size points) {
    Displays& displays = platform.displays();
    const auto isWanted = [points](const DisplayMode& mode) {
        return mode.width == points.width && mode.pixelWidth == 2 * points.width;
    };
    const auto modes = displays.modes(display);
    const auto wanted = std::ranges::find_if(modes, isWanted);
    if (wanted == modes.end()) {
        std::puts("  no 2x mode offered");
        return;
    }
    displays.setMode(display, *wanted);
    waitFor(platform.mainLoop(), kModeSettles);
    const auto now = displays.currentMode(display);
    if (now && isWanted(*now)) {
        std::printf("  SET 2x: points=%dx%d pixels=%dx%d\n", now->width, now->height, now->pixelWidth,
                    now->pixelHeight);
    } else {
        std::puts("2x never stuck");
    }
}

}  // namespace

int runHiDPIProbe(Platform& platform, const Options& options) {
    const Size points = displaySize(options.virtualWidth, options.virtualHeight);
    VirtualDisplayRequest request;
    request.name = "HiDPI Probe";
    if (!points.isEmpty()) request.modes = {doubled(points)};
    request.hiDPI = true;
    request.maxPixels = {8192, 8192};
    const auto display = platform.virtualDisplays().create(request);
    if (!display || display->id() == 0) {
        std::puts("create failed");
        return EXIT_FAILURE;
    }
    Displays& displays = platform.displays();
    std::printf(" requested %s pt @2x\n", sizeText(points).c_str());
    std::printf("as created: %s\n", displayText(displays, display->id()).c_str());
    std::printf("  modes: %s\n", joined(displays.modes(display->id())).c_str());
    tryDoubleDensity(platform, display->id(), points);
    return EXIT_SUCCESS;
}

}  // namespace quillon
