#pragma once

#include <QColor>
#include <QIcon>
#include <optional>

#include "platform/status_item.hpp"

namespace quillon {

/// The application's icon, in colours.
QIcon applicationIcon();

/// A status item's template in one colour. Without a colour it is made to be seen on any panel: light, with a
/// dark edge.
QIcon statusIcon(StatusItemLook::Icon icon, std::optional<QColor> color);

/// The same by its name in the icon theme, so that the panel takes its own colour for it; null when the icons
/// are not installed.
QIcon themedStatusIcon(StatusItemLook::Icon icon);

}  // namespace quillon
