#pragma once

#include "base/bytes.hpp"
#include "base/geometry.hpp"
#include "platform/pointer.hpp"

namespace quillon {

/// Turns the device's touches into pointer and scroll events on the streamed display. Keeps no state
/// between touches: whether the button is down follows the device's own press and release. Any thread.
class InputInjector {
  public:
    /// `bounds` is the streamed display on the desktop, in points.
    InputInjector(Pointer& pointer, Rect bounds) : pointer_(pointer), bounds_(bounds) {}

    const Rect& bounds() const { return bounds_; }

    /// Decodes one input message (layout: transport/wire_protocol.hpp) and posts at most one event.
    /// Payloads that are too short, and numbers that are not finite or beyond any desktop, are dropped. A
    /// release alone is posted all the same, on the display: it ends a press that came before.
    void handle(ByteView payload) const;

    /// Scrolls by so many pixels: positive ones towards the right and the end of the document. Numbers that
    /// do not fit in 32 bits are dropped.
    void scroll(double dx, double dy) const;

  private:
    Pointer& pointer_;
    const Rect bounds_;
};

}  // namespace quillon
