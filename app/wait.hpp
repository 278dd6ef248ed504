#pragma once

#include "platform/run_loop.hpp"

namespace quillon {

/// Serves the loop for so long: what else the program does goes on. Main thread.
void waitFor(RunLoop& loop, Duration interval);

}  // namespace quillon
