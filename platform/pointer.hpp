#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "base/geometry.hpp"

namespace quillon {

/// The mouse pointer: where it is, and events as if a mouse made them.
class Pointer {
  public:
    virtual ~Pointer() = default;

    /// Its place on the desktop in points; nothing without a display server. Main thread.
    virtual std::optional<Point> location() = 0;

    /// Calls `onMotion` on the main thread soon after the pointer moved, until the returned object is
    /// destroyed. Null when the system cannot tell: then the caller has to look by itself.
    class Observation {
      public:
        virtual ~Observation() = default;
    };
    virtual std::unique_ptr<Observation> observeMotion(std::function<void()> onMotion) = 0;

    enum class Event { move, press, drag, release };
    /// Posts one left-button or motion event at a place. Any thread. Failures are silent.
    virtual void post(Event event, Point place) = 0;

    /// Posts one scroll event in pixels: wheel 1 vertical, wheel 2 horizontal. Any thread.
    virtual void postScroll(int vertical, int horizontal) = 0;
};

}  // namespace quillon
