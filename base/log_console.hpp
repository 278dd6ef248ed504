#pragma once

#include <string>

namespace quillon {

/// Shows one line of the log to whoever watches the program run: on standard error, or in the log of a system
/// that keeps one. Any thread. Each system has a file of its own below platform/posix/.
void writeToConsole(const std::string& line);

}  // namespace quillon
