#include "display/window_mover.hpp"

#include <algorithm>
#include <string>

#include "base/log.hpp"

namespace quillon {

namespace {

constexpr double kMoveOffBase = 60;
constexpr double kSharedPart = 0.2;

double area(const Rect& rect) {
    return rect.width * rect.height;
}

double sharedArea(const Rect& a, const Rect& b) {
    const double width = std::min(a.maxX(), b.maxX()) - std::max(a.x, b.x);
    const double height = std::min(a.maxY(), b.maxY()) - std::max(a.y, b.y);
    return std::max(0.0, width) * std::max(0.0, height);
}

bool liesOn(const Rect& window, const Rect& display) {
    const double whole = area(window) >= 1 ? area(window) : 1;
    return sharedArea(window, display) / whole > kSharedPart;
}

}  // namespace

Point cascadePlace(int k, double base, const Rect& window, const Rect& target) {
    constexpr int kDiagonal = 6;
    constexpr double kStep = 30;
    const double offset = base + (k % kDiagonal) * kStep;
    return {
        std::max(target.x, std::min(target.maxX() - std::min(window.width, target.width), target.x + offset)),
        std::max(target.y,
                 std::min(target.maxY() - std::min(window.height, target.height), target.y + offset))};
}

void WindowMover::moveWindowsOff(DisplayID display, const Rect& target) const {
    if (!permissions_.isTrustedForControl()) {
        Log::write("cannot move windows back: Accessibility not granted");
        return;
    }
    const Rect bounds = displays_.bounds(display);
    int moved = 0;
    for (const Windows::Window& window : windows_.all()) {
        if (!liesOn(window.frame, bounds)) continue;
        if (windows_.move(window.id, cascadePlace(moved, kMoveOffBase, window.frame, target))) ++moved;
    }
    if (moved > 0) Log::write("moved " + std::to_string(moved) + " window(s) back to the main display");
}

}  // namespace quillon
