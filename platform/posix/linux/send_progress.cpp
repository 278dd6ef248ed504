#include "platform/posix/send_progress.hpp"

#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace quillon {

SendProgress sendProgress(int descriptor) {
    int taken = 0;
    if (ioctl(descriptor, SIOCOUTQ, &taken) != 0) return {};
    int unsent = 0;
    // Only TCP tells sent from unsent; a local socket knows what its peer has not taken.
    if (ioctl(descriptor, SIOCOUTQNSD, &unsent) != 0) return {.unsent = taken};
    SendProgress progress{.unsent = unsent, .inFlight = taken - unsent};
    tcp_info info{};
    socklen_t size = sizeof info;
    if (getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) == 0) {
        progress.acknowledged = static_cast<int64_t>(info.tcpi_bytes_acked);
        progress.busy = std::chrono::microseconds(info.tcpi_busy_time);
        progress.shortestRoundTrip = std::chrono::microseconds(info.tcpi_min_rtt);
    }
    return progress;
}

}  // namespace quillon
