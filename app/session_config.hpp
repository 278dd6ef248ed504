#pragma once

#include "app/options.hpp"
#include "session/types.hpp"

namespace quillon {

/// The configuration of a session hosted from the command line. Numbers go over as they were typed; a
/// present "--tcp", well formed or not, means mirroring an existing display.
SessionConfig sessionConfig(const Options& options);

}  // namespace quillon
