#include "device/link_server.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

#include "base/text.hpp"

namespace quillon::device {
namespace {

constexpr int kSmallReceiveBuffer = 32 * 1024;
constexpr int kBacklog = 8;

void setOption(int descriptor, int level, int option, int value) {
    ::setsockopt(descriptor, level, option, &value, sizeof value);
}

/// A host that vanished without a word is noticed within about ten seconds: by probes when nothing is sent to
/// it, otherwise by what it does not acknowledge.
void prepareTcp(int descriptor) {
    setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, 4);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, 2);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, 3);
    setOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, 8000);
}

}  // namespace

uint16_t LinkServer::listen(const std::string& address, uint16_t port, ReceiveBuffer buffer) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    if (::inet_pton(AF_INET, address.c_str(), &place.sin_addr) != 1) {
        throw std::invalid_argument("\"" + address + "\" is no IPv4 address");
    }
    Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener.isOpen()) throw systemError("socket");
    setOption(listener.get(), SOL_SOCKET, SO_REUSEADDR, 1);
    if (buffer == ReceiveBuffer::small) {
        setOption(listener.get(), SOL_SOCKET, SO_RCVBUF, kSmallReceiveBuffer);
    }
    socklen_t length = sizeof place;
    auto* where = reinterpret_cast<sockaddr*>(&place);
    if (::bind(listener.get(), where, length) != 0) throw systemError("bind");
    if (::listen(listener.get(), kBacklog) != 0) throw systemError("listen");
    if (::getsockname(listener.get(), where, &length) != 0) throw systemError("getsockname");
    listener_ = std::move(listener);
    return ntohs(place.sin_port);
}

void LinkServer::offer(Descriptor host) {
    {
        const MutexLock lock(lock_);
        waiting_.push_back(std::move(host));
    }
    offered_.signal();
}

std::optional<LinkServer::Host> LinkServer::takeOffered() {
    offered_.clear();
    const MutexLock lock(lock_);
    if (waiting_.empty()) return std::nullopt;
    Host host{std::move(waiting_.front()), "usbmux"};
    waiting_.pop_front();
    if (!waiting_.empty()) offered_.signal();
    return host;
}

std::optional<LinkServer::Host> LinkServer::acceptTcp() const {
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    Descriptor host(::accept4(listener_.get(), reinterpret_cast<sockaddr*>(&peer), &length, SOCK_CLOEXEC));
    if (!host.isOpen()) return std::nullopt;
    prepareTcp(host.get());
    std::array<char, INET_ADDRSTRLEN> name{};
    ::inet_ntop(AF_INET, &peer.sin_addr, name.data(), name.size());
    return Host{std::move(host), formatted("%s:%d", name.data(), ntohs(peer.sin_port))};
}

std::optional<LinkServer::Host> LinkServer::accept() {
    for (;;) {
        // poll leaves out negative descriptors, so a device without TCP needs no other case.
        std::array<pollfd, 3> sources{{{stop_.descriptor(), POLLIN, 0},
                                       {offered_.descriptor(), POLLIN, 0},
                                       {listener_.get(), POLLIN, 0}}};
        if (::poll(sources.data(), sources.size(), -1) < 0 && errno != EINTR) throw systemError("poll");
        if (sources[0].revents != 0) return std::nullopt;
        std::optional<Host> host;
        if (sources[1].revents != 0) host = takeOffered();
        if (!host && sources[2].revents != 0) host = acceptTcp();
        if (host) return host;
    }
}

}  // namespace quillon::device
