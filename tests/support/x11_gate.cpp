#include "tests/support/x11_gate.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

namespace quillon::testing {

namespace {

int listenOnLoopback() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    listen(listener, 8);
    return listener;
}

int connectTo(const std::string& path) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return descriptor;
}

bool sendAll(int descriptor, std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) return false;
        bytes = bytes.subspan(static_cast<size_t>(count));
    }
    return true;
}

/// Appends what has come; false at the end of the stream.
bool receiveInto(std::vector<uint8_t>& bytes, int descriptor) {
    std::array<uint8_t, 65536> part;
    const ssize_t count = recv(descriptor, part.data(), part.size(), 0);
    if (count <= 0) return false;
    bytes.insert(bytes.end(), part.begin(), part.begin() + count);
    return true;
}

size_t padded(size_t size) {
    return (size + 3) & ~size_t{3};
}

/// In this machine's byte order, which is its clients'.
template <typename Number>
Number numberAt(std::span<const uint8_t> bytes, size_t at) {
    Number number = 0;
    std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

/// How long the client's greeting is; 0 when that cannot be told yet.
size_t greetingSize(std::span<const uint8_t> bytes) {
    constexpr size_t kFixed = 12;
    if (bytes.size() < kFixed) return 0;
    return kFixed + padded(numberAt<uint16_t>(bytes, 6)) + padded(numberAt<uint16_t>(bytes, 8));
}

/// The same for a request, whose length is in words, and behind a zero when it is a long one.
size_t requestSize(std::span<const uint8_t> bytes) {
    if (bytes.size() < 8) return bytes.size() < 4 ? 0 : size_t{numberAt<uint16_t>(bytes, 2)} * 4;
    const size_t words = numberAt<uint16_t>(bytes, 2);
    return (words != 0 ? words : numberAt<uint32_t>(bytes, 4)) * 4;
}

}  // namespace

/// One client's connection.
struct X11Gate::Passage {
    Passage(int ofClient, int ofServer) : client(ofClient), server(ofServer) {}
    ~Passage() {
        close(client);
        close(server);
    }
    Passage(const Passage&) = delete;
    Passage& operator=(const Passage&) = delete;

    const int client;
    const int server;
    std::vector<uint8_t> waiting;  ///< from the client
    bool isGreeted = false;
};

X11Gate::X11Gate(const std::string& server, Guard guard)
    : server_("/tmp/.X11-unix/X" + server.substr(1)),
      guard_(std::move(guard)),
      listener_(listenOnLoopback()),
      wake_(eventfd(0, EFD_CLOEXEC)),
      thread_([this] { run(); }) {}

X11Gate::~X11Gate() {
    eventfd_write(wake_, 1);
    thread_.join();
    close(listener_);
    close(wake_);
}

std::string X11Gate::display() const {
    constexpr int kFirstPort = 6000;  // that of display 0
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    return "127.0.0.1:" + std::to_string(ntohs(address.sin_port) - kFirstPort);
}

void X11Gate::run() {
    for (;;) {
        std::vector<pollfd> watched{{wake_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const Passage& each : passages_) {
            watched.push_back({each.server, POLLIN, 0});
            watched.push_back({each.client, POLLIN, 0});
        }
        poll(watched.data(), watched.size(), -1);
        if (watched[0].revents != 0) return;
        auto next = watched.begin() + 2;
        for (auto passage = passages_.begin(); passage != passages_.end();) {
            const bool fromServer = (next++)->revents != 0;
            const bool fromClient = (next++)->revents != 0;
            std::vector<uint8_t> answers;
            bool isOpen =
                !fromServer || (receiveInto(answers, passage->server) && sendAll(passage->client, answers));
            if (isOpen && fromClient)
                isOpen = receiveInto(passage->waiting, passage->client) && passRequests(*passage);
            passage = isOpen ? std::next(passage) : passages_.erase(passage);
        }
        if (watched[1].revents != 0) admit();
    }
}

void X11Gate::admit() {
    passages_.emplace_back(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), connectTo(server_));
}

/// Every request that is whole, after its guard.
bool X11Gate::passRequests(Passage& passage) const {
    for (;;) {
        const size_t size = passage.isGreeted ? requestSize(passage.waiting) : greetingSize(passage.waiting);
        if (size == 0 || passage.waiting.size() < size) return true;
        if (passage.isGreeted) guard_({passage.waiting[0], passage.waiting[1]});
        passage.isGreeted = true;
        if (!sendAll(passage.server, std::span(passage.waiting).first(size))) return false;
        passage.waiting.erase(passage.waiting.begin(),
                              passage.waiting.begin() + static_cast<ptrdiff_t>(size));
    }
}

}  // namespace quillon::testing
