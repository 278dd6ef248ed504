#include "device/picture_layout.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "device/numbers.hpp"

namespace quillon::device {
namespace {

std::optional<Size> displayOf(std::string_view part) {
    constexpr std::string_view kTimes = "×";
    const size_t at = part.find(kTimes);
    if (at == std::string_view::npos) return std::nullopt;
    return parseSize(std::string(part.substr(0, at)) + "x" + std::string(part.substr(at + kTimes.size())));
}

std::string_view lastPart(std::string_view line) {
    const size_t bar = line.rfind(" | ");
    return bar == std::string_view::npos ? line : line.substr(bar + 3);
}

}  // namespace

SettingsLine parseSettingsLine(std::string_view line) {
    SettingsLine settings;
    settings.display = displayOf(line.substr(0, line.find(" | ")));
    const std::string_view scaling = lastPart(line);
    if (scaling == "Fill") settings.scaling = Scaling::fill;
    if (scaling == "Stretch") settings.scaling = Scaling::stretch;
    return settings;
}

PictureLayout::PictureLayout(Size display, Size picture, Scaling scaling) {
    if (display.isEmpty() || picture.isEmpty() || scaling == Scaling::stretch) return;
    const double displayAspect = static_cast<double>(display.width) / display.height;
    const double pictureAspect = static_cast<double>(picture.width) / picture.height;
    const double ratio = displayAspect / pictureAspect;
    // Hosts do not crop for a difference that nobody sees.
    const bool crops = scaling == Scaling::fill && std::abs(displayAspect - pictureAspect) >= 0.01;
    shareX_ = crops ? std::max(1.0, ratio) : std::min(1.0, ratio);
    shareY_ = crops ? std::max(1.0, 1 / ratio) : std::min(1.0, 1 / ratio);
}

Point PictureLayout::displayAt(Point inPicture) const {
    return {(inPicture.x - 0.5) / shareX_ + 0.5, (inPicture.y - 0.5) / shareY_ + 0.5};
}

Point PictureLayout::pictureAt(Point onDisplay) const {
    return {(onDisplay.x - 0.5) * shareX_ + 0.5, (onDisplay.y - 0.5) * shareY_ + 0.5};
}

}  // namespace quillon::device
