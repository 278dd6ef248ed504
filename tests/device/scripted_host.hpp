#pragma once

#include <optional>
#include <string>

#include "base/bytes.hpp"
#include "base/descriptor.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon::device {

/// The host's end of a link, driven by a test. Nothing here waits longer than ten seconds.
class ScriptedHost {
  public:
    /// Connects to a device on the loopback interface; throws std::system_error when nobody listens.
    explicit ScriptedHost(uint16_t port);
    /// Takes over a connected descriptor.
    explicit ScriptedHost(Descriptor socket);

    /// The device's first line, without its line feed; empty when it sends none.
    std::optional<std::string> readGreeting();

    void send(wire::MessageType type, uint64_t pts, ByteView payload);
    void send(wire::MessageType type, std::string_view text) { send(type, 0, viewOf(text)); }
    void sendBytes(ByteView bytes);

    /// The next bytes, whatever they mean; empty when they do not come.
    Bytes readBytes(size_t count);

    struct Received {
        wire::Header header;
        Bytes payload;
        wire::MessageType type() const { return static_cast<wire::MessageType>(header.type); }
    };
    /// The next message; empty at the end of the link or of patience.
    std::optional<Received> read();
    /// The next message of this type; others are passed over.
    std::optional<Received> readUntil(wire::MessageType type);

    /// Whether the device ends the link.
    bool sawEnd();

    /// Receives within `seconds`, or waits so long in vain.
    void setPatience(double seconds);

  private:
    bool readExactly(std::span<uint8_t> bytes);

    Descriptor socket_;
};

}  // namespace quillon::device
