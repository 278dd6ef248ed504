#include "app/display_text.hpp"

#include "base/text.hpp"

namespace quillon {

namespace {

std::string mirrorText(const Displays::Mirroring& mirroring) {
    if (mirroring.mirrors != 0) return formatted("of %u", mirroring.mirrors);
    return mirroring.inMirrorSet ? "source" : "no";
}

}  // namespace

std::string displayText(Displays& displays, DisplayID display) {
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

std::string modeText(const DisplayMode& mode) {
    return formatted("%dx%d (%dx%d)", mode.width, mode.height, mode.pixelWidth, mode.pixelHeight);
}

std::string listText(const std::vector<DisplayID>& displays) {
    std::string text = "[";
    for (const DisplayID display : displays) {
        if (text.size() > 1) text += ", ";
        text += std::to_string(display);
    }
    return text + "]";
}

Size displaySize(int64_t width, int64_t height) {
    constexpr int64_t kMost = 32767;
    if (width < 1 || height < 1 || width > kMost || height > kMost) return {};
    return {static_cast<int>(width), static_cast<int>(height)};
}

}  // namespace quillon
