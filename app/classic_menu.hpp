#pragma once

#include "app/popover.hpp"
#include "platform/menu.hpp"

namespace quillon {

/// The menu of the status item when the popover is not used. Its actions bear the names of the application
/// delegate's operations; an item of a choice carries its value as represented object.
Menu classicMenu(const PopoverSnapshot& snapshot);

}  // namespace quillon
