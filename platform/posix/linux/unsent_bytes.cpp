#include "platform/posix/unsent_bytes.hpp"

#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace quillon {

int unsentBytes(int descriptor) {
    int bytes = 0;
    // TCP tells what it has not yet put on the wire; a local socket only knows what its peer has not taken.
    if (ioctl(descriptor, SIOCOUTQNSD, &bytes) == 0) return bytes;
    if (ioctl(descriptor, SIOCOUTQ, &bytes) == 0) return bytes;
    return 0;
}

}  // namespace quillon
