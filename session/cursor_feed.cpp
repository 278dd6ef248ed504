#include "session/cursor_feed.hpp"

#include <algorithm>
#include <cmath>

namespace quillon {

namespace {

constexpr Duration kInterval = 8ms;
/// The least motion worth a message, as a fraction of the display.
constexpr double kNoticeable = 0.0015;
/// Ticks without motion until the feed stops looking and waits to be told.
constexpr int kTicksUntilRest = 4;

double fraction(double offset, double extent) {
    return std::clamp(extent >= 1 ? offset / extent : offset, 0.0, 1.0);
}

}  // namespace

wire::Cursor cursorOn(const Rect& bounds, Point location) {
    return {bounds.contains(location), fraction(location.x - bounds.x, bounds.width),
            fraction(location.y - bounds.y, bounds.height)};
}

CursorFeed::CursorFeed(Parts parts) : parts_(std::move(parts)) {
    motion_ = parts_.pointer.observeMotion([this] { follow(); });
    follow();
}

void CursorFeed::follow() {
    restingTicks_ = 0;
    if (timer_) return;
    timer_ = parts_.loop.addTimer(kInterval, RunLoop::Repeat::forever, [this] { tick(); });
    tick();
}

Rect CursorFeed::lookAtDisplay() {
    const Rect bounds = parts_.displays.bounds(parts_.display);
    if (bounds != lastBounds_) {
        lastBounds_ = bounds;
        parts_.onDisplayMoved(bounds);
    }
    return bounds;
}

void CursorFeed::tick() {
    const auto location = parts_.pointer.location();
    restingTicks_ = location == lastLocation_ ? restingTicks_ + 1 : 0;
    lastLocation_ = location;
    if (motion_ && restingTicks_ >= kTicksUntilRest) timer_.reset();
    const Rect bounds = lookAtDisplay();
    if (!location) return;
    const wire::Cursor cursor = cursorOn(bounds, *location);
    if (lastCursor_ && cursor.visible == lastCursor_->visible &&
        std::abs(cursor.x - lastCursor_->x) < kNoticeable &&
        std::abs(cursor.y - lastCursor_->y) < kNoticeable) {
        return;
    }
    lastCursor_ = cursor;
    parts_.send(cursor);
}

}  // namespace quillon
