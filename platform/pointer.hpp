#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
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

    /// Posts one scroll in pixels: positive ones turn the wheels towards the top and the left of the
    /// document. Both are finite. Any thread. A system whose events count whole pixels drops the fractions
    /// (`wholePixels`); one that counts clicks of a wheel keeps what does not make a whole one for the next
    /// scroll.
    virtual void postScroll(double vertical, double horizontal) = 0;
};

/// Towards zero, and as far as 32 bits reach.
inline int32_t wholePixels(double pixels) {
    using Limits = std::numeric_limits<int32_t>;
    return static_cast<int32_t>(std::clamp<double>(pixels, Limits::min(), Limits::max()));
}

}  // namespace quillon
