#include "platform/posix/send_progress.hpp"

#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>

namespace quillon {

namespace {

int optionOf(int descriptor, int option) {
    int value = 0;
    socklen_t size = sizeof value;
    return getsockopt(descriptor, SOL_SOCKET, option, &value, &size) == 0 ? value : 0;
}

/// What the peer of a local socket has not taken. The kernel puts sent bytes into the peer's buffer at once
/// and takes their room from the sender's; the block size that it tells is both together.
int untakenBytes(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) return 0;
    return std::max(0, static_cast<int>(status.st_blksize) - optionOf(descriptor, SO_SNDBUF));
}

}  // namespace

SendProgress sendProgress(int descriptor) {
    // Of TCP the system does not tell what is on its way: it counts as well, until it is acknowledged.
    return {.unsent = optionOf(descriptor, SO_NWRITE) + untakenBytes(descriptor)};
}

}  // namespace quillon
