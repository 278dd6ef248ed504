#pragma once

#include <optional>

#include "app/popover.hpp"
#include "platform/panel.hpp"

namespace quillon {

/// The panel that shows `snapshot`: every text, from top to bottom. Its controls are named after the changes
/// that they report.
PanelContent panelContent(const PopoverSnapshot& snapshot);

/// What the user did, in the application's terms; nothing when there is no such control.
std::optional<PopoverChange> popoverChange(const PanelChange& change);

}  // namespace quillon
