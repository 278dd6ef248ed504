#pragma once

#include "platform/sockets.hpp"

namespace quillon {

/// `Sockets::sendProgress`, an answer that POSIX has no call for: each system has a file of its own.
SendProgress sendProgress(int descriptor);

}  // namespace quillon
