#pragma once

#include <xcb/xcb.h>

#include <QColor>
#include <optional>

namespace quillon {

// What the shell asks the X server itself, over the toolkit's connection.

xcb_connection_t* toolkitConnection();

xcb_atom_t atomNamed(const char* name);

/// The window of the system tray (XEmbed) of the first screen, 0 without one.
xcb_window_t systemTray();

/// The colour that this tray wishes for icons; few trays say so.
std::optional<QColor> systemTrayColor();

/// Does a compositing manager blend windows, so that corners can be clear?
bool isCompositing();

}  // namespace quillon
