#pragma once

#include <xcb/xcb.h>

namespace quillon {

/// Starts the guardian of the virtual display that belongs to `window`: a small process of its own that
/// sleeps until the window is gone, and then takes back what its owner has left. It is nobody's child and in
/// nobody's group, so that neither Ctrl-C nor the death of this process takes it along, and it ends with the
/// window or the server. False when it cannot be started; the next virtual display or clean-up then removes
/// what is left. Any thread; a few milliseconds.
bool startDisplayGuardian(xcb_window_t window);

}  // namespace quillon
