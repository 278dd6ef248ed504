#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/bytes.hpp"
#include "base/time.hpp"

namespace quillon {

/// What became of a TCP connect: a blocking descriptor with TCP_NODELAY set, or where it failed and
/// why (the resolver's code, otherwise `errno`).
struct TcpAttempt {
    enum class Stage { resolving, creating, connecting, connected };
    Stage stage = Stage::resolving;
    int descriptor = -1;
    int code = 0;
};

/// What a socket has still to send, and how fast it went so far. A kernel that does not tell leaves zeros.
struct SendProgress {
    int unsent = 0;    ///< bytes that wait in the kernel; of a local socket, for the peer to take them
    int inFlight = 0;  ///< bytes sent and not yet acknowledged (TCP)
    int64_t acknowledged = 0;  ///< bytes since the connection began (TCP)
    Duration busy{};           ///< for how long of that time anything was unsent or in flight
    Duration shortestRoundTrip{};
};

/// Connected stream sockets, POSIX in meaning: results and `errno` as the call of that name has them.
/// Descriptors are plain numbers owned by whoever opened them. Any thread.
///
/// A thread blocked in `receive` or `send` ends at once when another calls `shutdown`; `close` alone
/// would leave it blocked. So an owner ends a link by `shutdown`, joins its threads, then `close`s.
class Sockets {
  public:
    virtual ~Sockets() = default;

    /// Resolves `host` (IPv4 only), tries the first address, blocks. The socket asks the kernel to keep
    /// little unsent data (TCP_NOTSENT_LOWAT), so that a short message never waits behind much video.
    virtual TcpAttempt connectTcp(const std::string& host, uint16_t port) = 0;

    /// `send` of at most `bytes.size()` bytes; never raises SIGPIPE.
    virtual ptrdiff_t send(int descriptor, ByteView bytes) = 0;

    /// `recv` into `buffer`. With `Fill::whole` it waits until the buffer is full (MSG_WAITALL).
    enum class Fill { any, whole };
    virtual ptrdiff_t receive(int descriptor, std::span<uint8_t> buffer, Fill fill) = 0;

    /// SO_RCVTIMEO in whole seconds; 0 waits without limit.
    virtual void setReceiveTimeout(int descriptor, int seconds) = 0;

    /// SO_SNDBUF; the result is ignored.
    virtual void setSendBuffer(int descriptor, int bytes) = 0;

    /// Clears O_NONBLOCK and sets TCP_NODELAY where the socket knows it; results are ignored.
    virtual void makeBlockingWithoutDelay(int descriptor) = 0;

    /// What became of the bytes that `send` accepted.
    virtual SendProgress sendProgress(int descriptor) = 0;

    virtual void shutdown(int descriptor) = 0;
    virtual void close(int descriptor) = 0;
};

}  // namespace quillon
