#include "platform/simulated/network.hpp"

#include <algorithm>
#include <cerrno>

namespace quillon::simulated {

std::shared_ptr<Network::Connection> Network::find(int descriptor) const {
    const auto found = connections_.find(descriptor);
    return found == connections_.end() ? nullptr : found->second;
}

int Network::connect(const Listener& listener, int& error) {
    Machine::WaitPoint never;
    const bool hangs = listener.answer == Listener::Answer::hangs;
    // A copy: the world may change while this thread waits.
    const Listener target = listener;
    machine_.wait(never, machine_.now() + (hangs ? kHangs : target.delay));
    if (hangs || target.answer == Listener::Answer::refuses) {
        error = hangs ? ETIMEDOUT : ECONNREFUSED;
        return -1;
    }
    const int descriptor = ++lastDescriptor_;
    const auto connection = std::make_shared<Connection>();
    connection->peer = target.peer;
    connection->rate = target.bytesPerSecond;
    connections_.emplace(descriptor, connection);
    connection->peer->onConnected(descriptor);
    return descriptor;
}

TcpAttempt Network::connectTcp(const std::string& host, uint16_t port) {
    TcpAttempt attempt;
    const auto found = tcpListeners.find(host + ":" + std::to_string(port));
    static const Listener kNobody{nullptr, Listener::Answer::refuses, 1ms, 0};
    attempt.descriptor = connect(found == tcpListeners.end() ? kNobody : found->second, attempt.code);
    attempt.stage = attempt.descriptor < 0 ? TcpAttempt::Stage::connecting : TcpAttempt::Stage::connected;
    return attempt;
}

ptrdiff_t Network::send(int descriptor, ByteView bytes) {
    const auto connection = find(descriptor);
    if (!connection) {
        errno = EBADF;
        return -1;
    }
    while (!connection->shut && !connection->peerClosed &&
           connection->unsent.size() >= connection->sendBuffer) {
        machine_.wait(*connection->changed);
    }
    if (connection->shut || connection->peerClosed) {
        errno = EPIPE;
        return -1;
    }
    const size_t room = connection->sendBuffer - connection->unsent.size();
    bytes = bytes.first(std::min(bytes.size(), room));
    if (connection->path == Path::forgotten) {
        constexpr Duration kRoundTrip = 1ms;
        machine_.after(kRoundTrip, [this, descriptor] { disconnect(descriptor); });
    } else if (connection->path == Path::lost) {
        connection->unsent.insert(connection->unsent.end(), bytes.begin(), bytes.end());
    } else if (connection->rate <= 0) {
        connection->peer->onBytes(descriptor, bytes);
    } else {
        connection->unsent.insert(connection->unsent.end(), bytes.begin(), bytes.end());
        transmit(descriptor);
    }
    return static_cast<ptrdiff_t>(bytes.size());
}

void Network::transmit(int descriptor) {
    const auto connection = find(descriptor);
    if (!connection || connection->transmitting || connection->unsent.empty()) return;
    constexpr size_t kSegment = 1448;
    const size_t count = std::min(kSegment, connection->unsent.size());
    const double rate = std::max(connection->rate, 1.0);
    connection->transmitting = true;
    machine_.after(seconds(static_cast<double>(count) / rate), [this, descriptor, connection, count] {
        connection->transmitting = false;
        if (connection->peerClosed) return;
        const size_t sent = std::min(count, connection->unsent.size());
        const auto end = connection->unsent.begin() + static_cast<ptrdiff_t>(sent);
        const Bytes segment(connection->unsent.begin(), end);
        connection->unsent.erase(connection->unsent.begin(), end);
        connection->peer->onBytes(descriptor, segment);
        machine_.signal(*connection->changed);
        transmit(descriptor);
    });
}

ptrdiff_t Network::receive(int descriptor, std::span<uint8_t> buffer, Fill fill) {
    const auto connection = find(descriptor);
    if (!connection) {
        errno = EBADF;
        return -1;
    }
    std::optional<Instant> deadline;
    if (connection->receiveTimeout > Duration::zero()) deadline = machine_.now() + connection->receiveTimeout;
    const size_t wanted = fill == Fill::whole ? buffer.size() : 1;
    while (connection->received.size() < wanted && !connection->peerClosed && !connection->shut) {
        if (!machine_.wait(*connection->changed, deadline) && connection->received.empty()) {
            errno = EAGAIN;
            return -1;
        }
    }
    const size_t count = connection->shut ? 0 : std::min(buffer.size(), connection->received.size());
    const auto end = connection->received.begin() + static_cast<ptrdiff_t>(count);
    std::copy(connection->received.begin(), end, buffer.begin());
    connection->received.erase(connection->received.begin(), end);
    return static_cast<ptrdiff_t>(count);
}

void Network::setReceiveTimeout(int descriptor, int timeout) {
    if (const auto connection = find(descriptor)) connection->receiveTimeout = std::chrono::seconds(timeout);
}

void Network::setSendBuffer(int descriptor, int bytes) {
    if (const auto connection = find(descriptor)) connection->sendBuffer = static_cast<size_t>(bytes);
}

SendProgress Network::sendProgress(int descriptor) {
    const auto connection = find(descriptor);
    return {.unsent = connection ? static_cast<int>(connection->unsent.size()) : 0};
}

void Network::shutdown(int descriptor) {
    const auto connection = find(descriptor);
    if (!connection || connection->shut) return;
    connection->shut = true;
    machine_.signal(*connection->changed);
    if (!connection->peerClosed) connection->peer->onClosed(descriptor);
    connection->peerClosed = true;
}

void Network::close(int descriptor) {
    shutdown(descriptor);
    connections_.erase(descriptor);
}

void Network::deliver(int descriptor, ByteView bytes) {
    const auto connection = find(descriptor);
    if (!connection || connection->shut || connection->peerClosed) return;
    if (connection->path != Path::stands) return;
    connection->received.insert(connection->received.end(), bytes.begin(), bytes.end());
    machine_.signal(*connection->changed);
}

void Network::disconnect(int descriptor) {
    const auto connection = find(descriptor);
    if (!connection) return;
    connection->peerClosed = true;
    connection->unsent.clear();
    machine_.signal(*connection->changed);
}

void Network::setPath(int descriptor, Path path) {
    if (const auto connection = find(descriptor)) connection->path = path;
}

void Network::setRate(int descriptor, double bytesPerSecond) {
    if (const auto connection = find(descriptor)) connection->rate = bytesPerSecond;
}

std::vector<UsbMux::Device> SimulatedUsbMux::devices() {
    std::vector<Device> all;
    all.reserve(attached.size());
    for (const Attached& each : attached) all.push_back(each.device);
    return all;
}

std::optional<UsbMux::Device> SimulatedUsbMux::deviceByUdid(const std::string& udid) {
    for (const Attached& each : attached) {
        const bool cabled = each.device.connectionType == 1;
        if (cabled && (udid.empty() || each.device.udid == udid)) return each.device;
    }
    return std::nullopt;
}

UsbMux::Attempt SimulatedUsbMux::connect(uint32_t handle, uint16_t port) {
    for (const Attached& each : attached) {
        if (each.device.handle != handle) continue;
        const auto found = each.ports.find(port);
        if (found == each.ports.end()) break;
        Attempt attempt;
        attempt.result = network_.connect(found->second, attempt.error);
        return attempt;
    }
    return {-1, ECONNREFUSED};
}

}  // namespace quillon::simulated
