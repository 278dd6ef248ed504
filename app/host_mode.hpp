#pragma once

#include "app/options.hpp"
#include "platform/platform.hpp"

namespace quillon {

/// Hosts one session and prints its states and statistics. Returns two seconds after the session has
/// reached its time limit, or at the end of the switch test; without these it runs until a signal ends the
/// process.
void runHost(Platform& platform, const Options& options);

/// From now on an interrupt (Ctrl-C) or a request to terminate prints "[host] interrupted" and ends the
/// process at once with status 0.
void exitWhenInterrupted();

}  // namespace quillon
