#pragma once

#include "platform/application_shell.hpp"
#include "platform/run_loop.hpp"

namespace quillon {

/// AppKit's application, without Dock icon and main menu. Null when the application runs already: the one
/// that does is opened again.
std::unique_ptr<ApplicationShell> makeMacApplicationShell(RunLoop& loop);

}  // namespace quillon
