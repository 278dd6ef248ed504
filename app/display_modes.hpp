#pragma once

#include "app/options.hpp"
#include "platform/platform.hpp"

namespace quillon {

// The modes that try virtual displays. Each prints its lines, takes away what it created and returns the
// program's exit status. Main thread; they serve the main loop while they wait.

/// Creates a display of the size that the options ask for, at twice the density; with `twoModes` it has that
/// size at single density as well. Sizes beyond the limit of the options are left out. Lists the modes that
/// the system makes of it.
int runModeProbe(Platform& platform, const Options& options);

/// Creates a display of the same size and tries to set its mode of double density.
int runHiDPIProbe(Platform& platform, const Options& options);

/// Destroys a display and looks how soon the system lets it be created again.
int runCycleTest(Platform& platform);

/// Takes virtual displays that earlier runs left behind out of their mirror sets, and away where the system
/// does not do that itself.
int runCleanup(Platform& platform);

}  // namespace quillon
