#include "platform/simulated/device.hpp"

#include <utility>

namespace quillon::simulated {

namespace {
constexpr size_t kHeader = 13;
constexpr uint8_t kVideo = 2;
constexpr uint8_t kAcknowledgement = 3;
constexpr uint8_t kKeepAlive = 15;
}  // namespace

std::vector<Device::Message> Device::ofType(uint8_t type) const {
    std::vector<Message> found;
    for (const Message& message : messages) {
        if (message.type == type) found.push_back(message);
    }
    return found;
}

void Device::sendBytes(ByteView bytes) {
    if (current >= 0) network_.deliver(current, bytes);
}

void Device::send(uint8_t type, ByteView payload, uint64_t pts) {
    Bytes message(kHeader);
    message[0] = type;
    storeBigEndian32(message.data() + 1, static_cast<uint32_t>(payload.size()));
    storeBigEndian64(message.data() + 5, pts);
    message.insert(message.end(), payload.begin(), payload.end());
    sendBytes(message);
}

void Device::disconnect() {
    if (current >= 0) network_.disconnect(std::exchange(current, -1));
}

void Device::onConnected(int connection) {
    current = connection;
    pending_.clear();
    connectedAt.push_back(machine_.now());
    sendBytes(viewOf(greeting));
    keepAlive(connection);
}

void Device::keepAlive(int connection) {
    if (keepAliveInterval <= Duration::zero()) return;
    machine_.after(keepAliveInterval, [weak = weak_from_this(), connection] {
        const auto self = weak.lock();
        if (!self || self->current != connection) return;
        self->send(kKeepAlive, {});
        self->keepAlive(connection);
    });
}

void Device::onBytes(int connection, ByteView bytes) {
    if (connection != current) return;
    pending_.insert(pending_.end(), bytes.begin(), bytes.end());
    size_t at = 0;
    while (pending_.size() - at >= kHeader) {
        const size_t length = loadBigEndian32(&pending_[at + 1]);
        if (pending_.size() - at < kHeader + length) break;
        Message message{pending_[at], loadBigEndian64(&pending_[at + 5]), {}, machine_.now()};
        const auto payload = pending_.begin() + static_cast<ptrdiff_t>(at + kHeader);
        if (keepsPayloads || message.type != kVideo) {
            message.payload.assign(payload, payload + static_cast<ptrdiff_t>(length));
        }
        at += kHeader + length;
        ++counts[message.type];
        react(message);
        messages.push_back(std::move(message));
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<ptrdiff_t>(at));
}

void Device::react(const Message& message) {
    if (message.type != kVideo || !acknowledges) return;
    machine_.after(acknowledgementDelay, [weak = weak_from_this(), connection = current, pts = message.pts] {
        const auto self = weak.lock();
        if (self && self->current == connection) self->send(kAcknowledgement, {}, pts);
    });
}

void Device::onClosed(int connection) {
    ++closed;
    if (connection == current) current = -1;
}

}  // namespace quillon::simulated
