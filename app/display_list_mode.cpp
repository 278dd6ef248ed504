#include "app/display_list_mode.hpp"

#include <cstdio>
#include <string>

#include "base/text.hpp"

namespace quillon {

namespace {

std::string mirrorText(const Displays::Mirroring& mirroring) {
    if (mirroring.mirrors != 0) return formatted("of %u", mirroring.mirrors);
    return mirroring.inMirrorSet ? "source" : "no";
}

std::string line(Displays& displays, DisplayID display) {
    const DisplayMode mode = displays.currentMode(display).value_or(DisplayMode{});
    const Rect bounds = displays.bounds(display);
    const auto [vendor, model] = displays.identity(display);
    const double scale = mode.width > 0 ? 1.0 * mode.pixelWidth / mode.width : 0;
    return formatted(
        "%u  mode=%dx%d  pixels=%dx%d  bounds=%.0f,%.0f %.0fx%.0f  scale=%g  vendor=%u  model=%u  "
        "mirror=%s%s",
        display, mode.width, mode.height, mode.pixelWidth, mode.pixelHeight, bounds.x, bounds.y, bounds.width,
        bounds.height, scale, vendor, model, mirrorText(displays.mirroring(display)).c_str(),
        display == displays.main() ? "  main" : "");
}

}  // namespace

void printDisplays(Displays& displays) {
    const auto active = displays.active();
    if (active.empty())
        std::puts("No active display: no display server can be reached, or it shows nothing.");
    for (const DisplayID display : active) std::puts(line(displays, display).c_str());
}

}  // namespace quillon
