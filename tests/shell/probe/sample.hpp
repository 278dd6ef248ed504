#pragma once

#include <string>

#include "platform/menu.hpp"
#include "platform/panel.hpp"

namespace quillon::testing {

/// What the application shows while it streams over USB, with every kind of control in it. `state` is one of
/// usb, wifi, starting, stopped, failed; `mirror` leaves out what mirroring does not use.
PanelContent samplePanel(const std::string& state, bool mirror);

/// A menu with all that menus can have.
Menu sampleMenu(const std::string& statusLine, const std::string& deviceName);

}  // namespace quillon::testing
