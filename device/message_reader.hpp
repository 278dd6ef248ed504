#pragma once

#include <array>
#include <functional>
#include <stdexcept>

#include "base/bytes.hpp"
#include "device/time.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon::device {

/// One whole message of the host.
struct Message {
    wire::Header header;
    Bytes payload;    ///< empty for a type that this device does not know
    Moment arrival;   ///< of its first byte
    Moment complete;  ///< of its last byte
    wire::MessageType type() const { return static_cast<wire::MessageType>(header.type); }
};

/// The host sent what no host may send. The link cannot go on.
struct ProtocolError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Most payload bytes that a message of this type may have. Types that the device does not know have
/// no bound: their payload is skipped as it comes and never kept.
uint32_t largestPayload(wire::MessageType type);
bool isKnownToDevice(uint8_t type);

/// Cuts the byte stream of a host into messages. Bytes may come in pieces of any size; memory is taken
/// for bytes that have come, not for lengths that were announced. One thread.
class MessageReader {
  public:
    using Sink = std::function<void(Message&)>;

    /// `sink` gets each message when its last byte is there; it may take the payload away.
    explicit MessageReader(Sink sink) : sink_(std::move(sink)) {}

    /// Takes the next bytes of the stream, received at `now`. Throws ProtocolError for a length above
    /// the bound, and whatever the sink throws; the reader is of no more use then.
    void feed(ByteView bytes, Moment now);

  private:
    void beginPayload();
    void finish(Moment now);

    Sink sink_;
    std::array<uint8_t, wire::kHeaderSize> header_{};
    size_t headerBytes_ = 0;
    uint32_t missing_ = 0;  ///< payload bytes still to come
    bool keeps_ = false;    ///< or skips the payload
    Message message_;
};

}  // namespace quillon::device
