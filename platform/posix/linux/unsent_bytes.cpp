#include "platform/posix/unsent_bytes.hpp"

#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>

namespace quillon {

namespace {

/// In flight beyond what fills the path: so much does not count as waiting, because acknowledgements come
/// a little late. Bytes.
constexpr int64_t kInFlightSlack = 16 * 1024;

/// What stands in queues of the network: sent, not acknowledged, and more than the path holds while it is
/// kept busy (its speed times its shortest round trip).
int64_t queuedInNetwork(int descriptor, int64_t unacknowledged) {
    tcp_info info{};
    socklen_t size = sizeof info;
    if (getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return 0;
    constexpr double kMicroseconds = 1e-6;
    const double path = static_cast<double>(info.tcpi_delivery_rate) * info.tcpi_min_rtt * kMicroseconds;
    return std::max<int64_t>(0, unacknowledged - static_cast<int64_t>(path) - kInFlightSlack);
}

}  // namespace

int unsentBytes(int descriptor) {
    int taken = 0;
    if (ioctl(descriptor, SIOCOUTQ, &taken) != 0) return 0;
    int unsent = 0;
    // Only TCP tells sent from unsent; a local socket knows what its peer has not taken.
    if (ioctl(descriptor, SIOCOUTQNSD, &unsent) != 0) return taken;
    return unsent + static_cast<int>(queuedInNetwork(descriptor, taken - unsent));
}

}  // namespace quillon
