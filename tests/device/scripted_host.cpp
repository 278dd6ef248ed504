#include "scripted_host.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>

namespace quillon::device {
namespace {

/// No device message of these tests is larger.
constexpr uint32_t kLargestPayload = 1024;

Descriptor connected(uint16_t port) {
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket.get(), reinterpret_cast<sockaddr*>(&place), sizeof place) != 0) {
        throw systemError("connect");
    }
    return socket;
}

}  // namespace

ScriptedHost::ScriptedHost(uint16_t port) : ScriptedHost(connected(port)) {}

ScriptedHost::ScriptedHost(Descriptor socket) : socket_(std::move(socket)) {
    setPatience(10);
}

void ScriptedHost::setPatience(double seconds) {
    const auto whole = static_cast<time_t>(seconds);
    const timeval limit{whole, static_cast<suseconds_t>((seconds - static_cast<double>(whole)) * 1e6)};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

bool ScriptedHost::readExactly(std::span<uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
        if (count <= 0) return false;
        bytes = bytes.subspan(static_cast<size_t>(count));
    }
    return true;
}

std::optional<std::string> ScriptedHost::readGreeting() {
    std::string line;
    for (uint8_t byte = 0; readExactly({&byte, 1}); line += static_cast<char>(byte)) {
        if (byte == '\n') return line;
    }
    return std::nullopt;
}

void ScriptedHost::send(wire::MessageType type, uint64_t pts, ByteView payload) {
    sendBytes(wire::encodedMessage(type, pts, payload));
}

void ScriptedHost::sendBytes(ByteView bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) return;  // the device is gone, as tests of its end expect
        bytes = bytes.subspan(static_cast<size_t>(count));
    }
}

Bytes ScriptedHost::readBytes(size_t count) {
    Bytes bytes(count);
    if (!readExactly(bytes)) bytes.clear();
    return bytes;
}

std::optional<ScriptedHost::Received> ScriptedHost::read() {
    Bytes header(wire::kHeaderSize);
    if (!readExactly(header)) return std::nullopt;
    Received received{wire::loadHeader(header.data()), {}};
    if (received.header.length > kLargestPayload) return std::nullopt;
    received.payload.resize(received.header.length);
    if (!readExactly(received.payload)) return std::nullopt;
    return received;
}

std::optional<ScriptedHost::Received> ScriptedHost::readUntil(wire::MessageType type) {
    // The device keeps alive, so reading alone would go on for ever.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < deadline) {
        auto received = read();
        if (!received || received->type() == type) return received;
    }
    return std::nullopt;
}

bool ScriptedHost::sawEnd() {
    for (;;) {
        Bytes bytes(4096);
        const ssize_t count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
        if (count == 0 || (count < 0 && errno == ECONNRESET)) return true;
        if (count < 0) return false;
    }
}

}  // namespace quillon::device
