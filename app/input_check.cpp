#include "app/input_check.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "app/wait.hpp"
#include "base/text.hpp"

namespace quillon {

namespace {

constexpr Duration kPointerSettles = 300ms;
constexpr double kNear = 5;  // points

bool isNear(Point a, Point b) {
    return std::hypot(a.x - b.x, a.y - b.y) < kNear;
}

/// The middle of the main display; a place above and left of it where the pointer rests there already.
Point targetOn(const Rect& display, const std::optional<Point>& now) {
    const Point middle{std::floor(display.x + display.width / 2), std::floor(display.y + display.height / 2)};
    if (!now || !isNear(*now, middle)) return middle;
    return {std::floor(display.x + display.width / 4), std::floor(display.y + display.height / 4)};
}

}  // namespace

int runInputCheck(Platform& platform) {
    const bool trusted = platform.permissions().isTrustedForControl();
    std::printf("[check] accessibility=%s\n", trueOrFalse(trusted));
    Displays& displays = platform.displays();
    Pointer& pointer = platform.pointer();
    const Point target = targetOn(displays.bounds(displays.main()), pointer.location());
    pointer.post(Pointer::Event::move, target);
    waitFor(platform.mainLoop(), kPointerSettles);
    const auto now = pointer.location();
    if (now) {
        std::printf("[check] %.0f,%.0f moved=%s\n", now->x, now->y, trueOrFalse(isNear(*now, target)));
    } else {
        std::puts("[check] no pointer: no display server can be reached; moved=false");
    }
    return EXIT_SUCCESS;
}

}  // namespace quillon
