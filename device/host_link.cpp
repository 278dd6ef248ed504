#include "device/host_link.hpp"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <random>

namespace quillon::device {
namespace {

constexpr Clock::duration kBeat = std::chrono::seconds(1);
constexpr size_t kGarbageBytes = 1024;
constexpr size_t kReadBytes = 256 * 1024;
constexpr timeval kSendPatience{2, 0};

int pollTimeout(Clock::duration wait) {
    const auto whole = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
    return static_cast<int>(std::clamp<int64_t>(whole, 0, 60'000));
}

Bytes randomBytes(uint64_t seed) {
    std::mt19937_64 generator(seed);
    Bytes bytes(kGarbageBytes);
    for (uint8_t& each : bytes) each = static_cast<uint8_t>(generator());
    return bytes;
}

}  // namespace

HostLink::HostLink(Descriptor host, std::string greeting, const Options& options, Statistics& statistics,
                   Touch touch)
    : options_(options),
      statistics_(statistics),
      greeting_(std::move(greeting)),
      touch_(std::move(touch)),
      accepted_(Clock::now()),
      nextBeat_(accepted_),
      socket_(std::move(host)) {
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &kSendPatience, sizeof kSendPatience);
}

std::string HostLink::run(int stopDescriptor, const MessageReader::Sink& sink) {
    std::string reason;
    try {
        if (!options_.faults.silent) sendBytes(viewOf(greeting_ + "\n"));
        reason = receive(stopDescriptor, sink);
    } catch (const ProtocolError& error) {
        statistics_.protocolError();
        reason = error.what();
    }
    end();
    return reason;
}

std::string HostLink::receive(int stopDescriptor, const MessageReader::Sink& sink) {
    MessageReader reader(sink);
    ReadGate gate(options_.faults, accepted_);
    for (;;) {
        const Moment now = Clock::now();
        const Moment due = doWhatIsDue(now, gate);
        const ReadGate::Answer answer = gate.mayRead(now, kReadBytes);
        const auto wait = answer.bytes > 0 ? due - now : std::min(answer.wait, due - now);
        // A closed gate must not look: a readable socket would end the wait at once.
        std::array<pollfd, 2> sources{
            {{stopDescriptor, POLLIN, 0}, {answer.bytes > 0 ? socket_.get() : -1, POLLIN, 0}}};
        if (::poll(sources.data(), sources.size(), pollTimeout(wait)) < 0 && errno != EINTR) {
            throw systemError("poll");
        }
        if (sources[0].revents != 0) return "the device ends";
        if (sources[1].revents != 0 && !readSome(reader, gate, answer.bytes)) return "the host is gone";
        if (gate.isCut()) return "cut as asked for";
    }
}

bool HostLink::readSome(MessageReader& reader, ReadGate& gate, size_t most) {
    static thread_local Bytes buffer(kReadBytes);
    const ssize_t count = ::recv(socket_.get(), buffer.data(), std::min(most, buffer.size()), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
    if (count <= 0) return false;
    const auto received = static_cast<size_t>(count);
    gate.didRead(received);
    statistics_.received(received);
    reader.feed(ByteView(buffer).first(received), Clock::now());
    return true;
}

/// Sends scripted messages and the beat of the second; returns when it wants to be called again.
Moment HostLink::doWhatIsDue(Moment now, const ReadGate& gate) {
    const Faults& faults = options_.faults;
    while (nextScripted_ < options_.script.size() && accepted_ + options_.script[nextScripted_].at <= now) {
        const ScriptedMessage& message = options_.script[nextScripted_++];
        if (message.finger) {
            touch_(message.finger->action, message.finger->onPanel);
        } else {
            send(message.type, 0, message.payload);
        }
    }
    if (nextBeat_ <= now) {
        nextBeat_ += kBeat;
        const bool quiet = faults.silent || gate.isStalled(now);
        if (!quiet && faults.garbage) sendBytes(randomBytes(randomState_++));
        if (!quiet && !faults.noKeepAlive) send(wire::MessageType::keepAlive, 0, {});
    }
    if (nextScripted_ == options_.script.size()) return nextBeat_;
    return std::min(nextBeat_, accepted_ + options_.script[nextScripted_].at);
}

void HostLink::send(wire::MessageType type, uint64_t pts, ByteView payload) {
    sendBytes(wire::encodedMessage(type, pts, payload));
    statistics_.sent(type);
}

void HostLink::sendBytes(ByteView bytes) {
    const MutexLock lock(sendLock_);
    while (!ended_ && !bytes.empty()) {
        const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            ended_ = true;
            ::shutdown(socket_.get(), SHUT_RDWR);  // wakes the link thread
            return;
        }
        bytes = bytes.subspan(static_cast<size_t>(count));
    }
}

void HostLink::end() {
    const MutexLock lock(sendLock_);
    ended_ = true;
    ::shutdown(socket_.get(), SHUT_RDWR);  // a mux server holds a copy, so closing is not enough
    socket_.close();
}

}  // namespace quillon::device
