#pragma once

#include <memory>

#include "platform/application_shell.hpp"
#include "platform/linux/run_loop.hpp"

namespace quillon {

/// The tray application's half of this platform: becomes the user's only instance, then loads the module with
/// the toolkit. As `Platform::makeApplicationShell` says.
std::unique_ptr<ApplicationShell> makeLinuxApplicationShell(LinuxRunLoop& loop);

}  // namespace quillon
