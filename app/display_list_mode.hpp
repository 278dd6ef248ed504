#pragma once

#include "platform/displays.hpp"

namespace quillon {

/// Prints the active displays, one line each, or that there is none.
void printDisplays(Displays& displays);

}  // namespace quillon
