#include "transport/message_reader.hpp"

#include <algorithm>

#include "transport/usb_link.hpp"

namespace quillon {

MessageReader::Message MessageReader::next() {
    std::array<uint8_t, wire::kHeaderSize> bytes;
    USBLink::readExactly(sockets_, fd_, bytes);
    const wire::Header header = wire::loadHeader(bytes.data());

    const auto kept = std::span(payload_).first(std::min<size_t>(header.length, kMostPayload));
    USBLink::readExactly(sockets_, fd_, kept);
    skip(header.length - kept.size());
    return {header, kept};
}

void MessageReader::skip(size_t count) {
    std::array<uint8_t, 4096> chunk;
    while (count > 0) {
        const auto part = std::span(chunk).first(std::min(count, chunk.size()));
        USBLink::readExactly(sockets_, fd_, part);
        count -= part.size();
    }
}

}  // namespace quillon
