#pragma once

#include <array>

#include "base/bytes.hpp"
#include "platform/sockets.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {

/// Reads the messages of one link, one after the other. Whatever length a header claims, the memory is
/// the same: the first bytes of a payload are kept, the rest is read and forgotten.
///
/// Belongs to the session's reader. The descriptor is the session's.
class MessageReader {
  public:
    /// What is kept of a payload, of every type. No message that the host knows is longer.
    static constexpr size_t kMostPayload = 4096;

    struct Message {
        wire::Header header;
        ByteView payload;  ///< at most kMostPayload bytes, valid until the next call
    };

    MessageReader(Sockets& sockets, int fd) : sockets_(sockets), fd_(fd) {}

    /// Waits for a whole message. Throws USBLinkError when the stream ends or breaks, also in the middle.
    Message next();

  private:
    void skip(size_t count);

    Sockets& sockets_;
    const int fd_;
    std::array<uint8_t, kMostPayload> payload_{};
};

}  // namespace quillon
