#include "display/window_mover.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include "base/log.hpp"

namespace quillon {

namespace {

constexpr double kMoveOffBase = 60;
constexpr double kSweepBase = 80;
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

bool intersects(const Rect& a, const Rect& b) {
    return a.x < b.maxX() && b.x < a.maxX() && a.y < b.maxY() && b.y < a.maxY();
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
    const int moved =
        bringHome(target, kMoveOffBase, [&](const Rect& window) { return liesOn(window, bounds); });
    if (moved > 0) Log::write("moved " + std::to_string(moved) + " window(s) back to the main display");
}

void WindowMover::sweepOffscreenWindows() const {
    if (!permissions_.isTrustedForControl()) return;
    std::vector<Rect> screens;
    for (const DisplayID display : displays_.active()) screens.push_back(displays_.bounds(display));
    // Without any display there is nowhere to go.
    if (screens.empty()) return;
    const int moved = bringHome(displays_.bounds(displays_.main()), kSweepBase, [&](const Rect& window) {
        return std::ranges::none_of(screens, [&](const Rect& screen) { return intersects(window, screen); });
    });
    if (moved > 0) Log::write("rescued " + std::to_string(moved) + " off-screen window(s)");
}

int WindowMover::bringHome(const Rect& target, double base,
                           const std::function<bool(const Rect&)>& isLost) const {
    int moved = 0;
    for (const Windows::Window& window : windows_.all()) {
        if (!isLost(window.frame)) continue;
        if (windows_.move(window.id, cascadePlace(moved, base, window.frame, target))) ++moved;
    }
    return moved;
}

}  // namespace quillon
