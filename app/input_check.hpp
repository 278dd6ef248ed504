#pragma once

#include "platform/platform.hpp"

namespace quillon {

/// Moves the pointer as a touch would, and tells whether it went there. Returns the program's exit status.
/// Main thread; serves the main loop while it waits.
int runInputCheck(Platform& platform);

}  // namespace quillon
