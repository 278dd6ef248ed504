#pragma once

#include <functional>

#include "platform/displays.hpp"
#include "platform/permissions.hpp"
#include "platform/windows.hpp"

namespace quillon {

/// Brings windows back to a display that shows them. Keeps nothing between calls; main thread.
class WindowMover {
  public:
    WindowMover(Windows& windows, Displays& displays, Permissions& permissions)
        : windows_(windows), displays_(displays), permissions_(permissions) {}

    /// Moves every window of which more than a fifth lies on `display` into `target`, in a cascade.
    void moveWindowsOff(DisplayID display, const Rect& target) const;

    /// Moves every window that lies on no display at all to the main display, in a cascade: what an earlier
    /// run has left where no screen shows it.
    void sweepOffscreenWindows() const;

  private:
    /// Moves those for which `isLost` holds into `target`; how many.
    int bringHome(const Rect& target, double base, const std::function<bool(const Rect&)>& isLost) const;

    Windows& windows_;
    Displays& displays_;
    Permissions& permissions_;
};

/// Where the k-th moved window (from 0) goes: `base` points inside `target`, 30 further for each window of
/// a diagonal of six, and wholly inside as far as its size allows.
Point cascadePlace(int k, double base, const Rect& window, const Rect& target);

}  // namespace quillon
