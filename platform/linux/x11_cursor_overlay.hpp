#pragma once

#include <cstdint>

#include "platform/linux/x11_grabber.hpp"

namespace quillon {

/// Draws the pointer into a grabber's copy of the screen. The server never does, and says nothing when
/// the pointer moves: whoever wants it in the picture looks at the frame rate. One thread at a time.
class X11CursorOverlay {
  public:
    explicit X11CursorOverlay(const X11Connection& connection) : connection_(connection) {}

    /// After each fetch, with what that changed; adds what the pointer changes.
    void draw(X11Grabber& grabber, DamageRegion& damage);

  private:
    const X11Connection& connection_;
    PixelRect drawn_;      ///< where the copy shows the pointer
    uint32_t serial_ = 0;  ///< of the pointer's shape there
};

}  // namespace quillon
