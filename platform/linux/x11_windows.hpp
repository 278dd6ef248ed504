#pragma once

#include "platform/linux/x11_outputs.hpp"
#include "platform/windows.hpp"

namespace quillon {

/// The windows of ordinary applications on the X server that DISPLAY names. Connects when first used and
/// again after the server went away.
///
/// The window manager says which windows there are and how far their frames reach (EWMH), and moves them.
/// Without one the mapped top-level windows are taken as they are. Minimised windows and those of other
/// workspaces belong to their applications like any other; desktops, docks, splash screens, menus and
/// notifications do not, nor what shows on every workspace but in no list of windows.
class X11Windows : public Windows {
  public:
    std::vector<Window> all() override;
    /// A request to the window manager, which may place the window a little otherwise: false when there is
    /// no such window, or no server.
    bool move(uint64_t id, Point origin) override;

  private:
    X11DesktopView view_;
};

}  // namespace quillon
