#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/displays.hpp"
#include "platform/pointer.hpp"
#include "platform/run_loop.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {

/// Sends where the pointer is on the streamed display, up to 125 times a second and only when it moved
/// noticeably. Looks only while the pointer moves, where the system tells of motion; a resting pointer
/// then costs nothing. Main thread.
class CursorFeed {
  public:
    struct Parts {
        RunLoop& loop;
        Pointer& pointer;
        Displays& displays;
        DisplayID display = 0;
        std::function<void(const wire::Cursor&)> send;    ///< each new state
        std::function<void(const Rect&)> onDisplayMoved;  ///< the display's bounds, at first and when changed
    };
    explicit CursorFeed(Parts parts);

    /// Looks now and for a moment: the pointer or the display moved.
    void follow();

  private:
    void tick();
    Rect lookAtDisplay();

    const Parts parts_;
    std::optional<Rect> lastBounds_;
    std::optional<wire::Cursor> lastCursor_;
    std::optional<Point> lastLocation_;
    int restingTicks_ = 0;
    std::unique_ptr<Pointer::Observation> motion_;
    std::unique_ptr<Timer> timer_;
};

/// The pointer as the device is told of it: a fraction of the display, clamped to 0..1.
wire::Cursor cursorOn(const Rect& bounds, Point location);

}  // namespace quillon
