#include "platform/posix/unsent_bytes.hpp"

#include <sys/socket.h>

namespace quillon {

int unsentBytes(int descriptor) {
    int bytes = 0;
    socklen_t size = sizeof bytes;
    return getsockopt(descriptor, SOL_SOCKET, SO_NWRITE, &bytes, &size) == 0 ? bytes : 0;
}

}  // namespace quillon
