#pragma once

#include <sys/types.h>

#include <set>
#include <string>

namespace quillon::testing {

/// The guardians of virtual displays on this X server (":1"). Others on the machine have their own.
std::set<pid_t> displayGuardians(const std::string& display);

/// Ends a process without a farewell and waits until it is gone, though it is no child of ours.
void killAndWait(pid_t process);

}  // namespace quillon::testing
