#include "device/finger.hpp"

#include <algorithm>

namespace quillon::device {

std::optional<wire::Input> Finger::touch(uint8_t action, Point inPicture, const PictureLayout& layout) {
    const Point onDisplay = layout.displayAt(inPicture);
    const bool outside = !Rect{0, 0, 1, 1}.contains(onDisplay);
    if (!isDown_ && (outside || action == wire::Input::release)) return std::nullopt;
    isDown_ = action == wire::Input::press || action == wire::Input::drag;
    wire::Input input;
    input.action = action;
    input.x = static_cast<float>(std::clamp(onDisplay.x, 0.0, 1.0));
    input.y = static_cast<float>(std::clamp(onDisplay.y, 0.0, 1.0));
    return input;
}

}  // namespace quillon::device
