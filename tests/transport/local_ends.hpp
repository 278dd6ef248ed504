#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "base/bytes.hpp"
#include "base/descriptor.hpp"

namespace quillon::test {

/// How long a test waits for something that must happen.
inline constexpr int kSoonMilliseconds = 10'000;

inline std::pair<Descriptor, Descriptor> localPair() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// Listens on a free TCP port of this machine.
class TcpListener {
  public:
    TcpListener() : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(bind(listener_.get(), generic, size), 0);
        EXPECT_EQ(listen(listener_.get(), 5), 0);
        EXPECT_EQ(getsockname(listener_.get(), generic, &size), 0);
        port_ = ntohs(address.sin_port);
    }
    uint16_t port() const { return port_; }
    Descriptor accept() { return Descriptor(::accept(listener_.get(), nullptr, nullptr)); }
    void close() { listener_.close(); }

  private:
    Descriptor listener_;
    uint16_t port_ = 0;
};

inline void sendText(int descriptor, std::string_view text) {
    EXPECT_EQ(::send(descriptor, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
}

/// The next `count` bytes, fewer when the stream ends before.
inline std::string receivedText(int descriptor, size_t count) {
    std::string text(count, '\0');
    size_t have = 0;
    while (have < count) {
        pollfd readable{descriptor, POLLIN, 0};
        if (poll(&readable, 1, kSoonMilliseconds) != 1) break;
        const ssize_t part = recv(descriptor, text.data() + have, count - have, 0);
        if (part <= 0) break;
        have += static_cast<size_t>(part);
    }
    text.resize(have);
    return text;
}

/// Whether the stream ends soon, whatever comes before.
inline bool endsSoon(int descriptor) {
    for (;;) {
        pollfd readable{descriptor, POLLIN, 0};
        if (poll(&readable, 1, kSoonMilliseconds) != 1) return false;
        char byte = 0;
        if (recv(descriptor, &byte, 1, 0) <= 0) return true;
    }
}

}  // namespace quillon::test
