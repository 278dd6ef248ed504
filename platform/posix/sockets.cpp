#include "platform/posix/sockets.hpp"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "platform/posix/send_progress.hpp"

namespace quillon {
namespace {

/// Unsent bytes of a TCP socket above which it takes no more. Less makes throughput suffer, more makes a
/// cursor message wait behind video.
constexpr int kUnsentLowWater = 16 * 1024;

void setOption(int descriptor, int level, int option, int value) {
    setsockopt(descriptor, level, option, &value, sizeof value);
}

void closeOnExec(int descriptor) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

template <typename Call>
auto repeatedWhenInterrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

/// The outcome of `connect`, also of one that a signal interrupted: that one goes on in the kernel.
bool connected(int descriptor, const addrinfo& address) {
    if (::connect(descriptor, address.ai_addr, address.ai_addrlen) == 0) return true;
    if (errno != EINTR) return false;
    pollfd writable{descriptor, POLLOUT, 0};
    if (repeatedWhenInterrupted([&] { return poll(&writable, 1, -1); }) < 0) return false;
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return false;
    errno = error;
    return error == 0;
}

}  // namespace

TcpAttempt PosixSockets::connectTcp(const std::string& host, uint16_t port) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int code = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    if (code != 0 || !addresses) return {TcpAttempt::Stage::resolving, -1, code};

    const int descriptor = socket(addresses->ai_family, addresses->ai_socktype, addresses->ai_protocol);
    if (descriptor < 0) return {TcpAttempt::Stage::creating, -1, errno};
    closeOnExec(descriptor);
    if (!connected(descriptor, *addresses)) {
        const int error = errno;
        ::close(descriptor);
        return {TcpAttempt::Stage::connecting, -1, error};
    }
    setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(descriptor, IPPROTO_TCP, TCP_NOTSENT_LOWAT, kUnsentLowWater);
    return {TcpAttempt::Stage::connected, descriptor, 0};
}

ptrdiff_t PosixSockets::send(int descriptor, ByteView bytes) {
    return repeatedWhenInterrupted(
        [&] { return ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL); });
}

ptrdiff_t PosixSockets::receive(int descriptor, std::span<uint8_t> buffer, Fill fill) {
    const int flags = fill == Fill::whole ? MSG_WAITALL : 0;
    return repeatedWhenInterrupted([&] { return ::recv(descriptor, buffer.data(), buffer.size(), flags); });
}

void PosixSockets::setReceiveTimeout(int descriptor, int seconds) {
    const timeval limit{.tv_sec = seconds, .tv_usec = 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

void PosixSockets::setSendBuffer(int descriptor, int bytes) {
    setOption(descriptor, SOL_SOCKET, SO_SNDBUF, bytes);
}

void PosixSockets::makeBlockingWithoutDelay(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags != -1) fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK);
    setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
}

SendProgress PosixSockets::sendProgress(int descriptor) {
    return quillon::sendProgress(descriptor);
}

void PosixSockets::shutdown(int descriptor) {
    ::shutdown(descriptor, SHUT_RDWR);
}

void PosixSockets::close(int descriptor) {
    ::close(descriptor);
}

}  // namespace quillon
