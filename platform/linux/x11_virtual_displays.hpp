#pragma once

#include "platform/virtual_displays.hpp"

namespace quillon {

/// Virtual monitors on an X screen: a handle holds one RandR output that no monitor uses, with modes of our
/// own, and places it right of the main display. Each size counts once: X11 has no denser modes.
///
/// A handle has its own connection, and the display ends with it: by the handle's destructor, else by the
/// guardian process. Handles are independent of this object and of each other. A display that the server has
/// lost, or that somebody turned off, has the identifier 0.
class X11VirtualDisplays : public VirtualDisplays {
  public:
    std::unique_ptr<VirtualDisplay> create(const VirtualDisplayRequest& request) override;
    void removeLeftovers() override;
};

}  // namespace quillon
