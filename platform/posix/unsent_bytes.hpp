#pragma once

namespace quillon {

/// `Sockets::unsentBytes`, the one answer that POSIX has no call for: each system has a file of its own.
int unsentBytes(int descriptor);

}  // namespace quillon
