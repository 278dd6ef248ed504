#pragma once

#include "app/app_delegate.hpp"
#include "platform/platform.hpp"

namespace quillon {

/// Runs the tray application until it is quit; the exit status. Where there can be none (no toolkit, no
/// display) it says why on standard error and fails; where it runs already it leaves the rest to that one.
int runApplication(Platform& platform, AppDelegate::Details details);

}  // namespace quillon
