// A device that sends any bytes in pieces of any size. The first byte of the input is the size of the
// pieces, the rest the stream.

#include "base/text.hpp"
#include "fuzz/input_sockets.hpp"
#include "transport/message_reader.hpp"
#include "transport/usb_link.hpp"
#include "transport/wire_protocol.hpp"

using namespace quillon;

namespace {

/// What the host does with the texts and numbers of a message.
void parse(const MessageReader::Message& message) {
    wire::parseInput(message.payload);
    wire::parseCursor(message.payload);
    wire::panelSize(repairedUtf8(message.payload));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const ByteView stream(data + 1, size - 1);
    fuzz::InputSockets sockets(stream, data[0]);
    MessageReader reader(sockets, 0);
    ByteView expected = stream;
    try {
        for (;;) {
            const auto message = reader.next();
            // The same message, cut out of the stream at one go.
            const wire::Header header = wire::loadHeader(expected.data());
            const ByteView payload = expected.subspan(wire::kHeaderSize, header.length);
            const ByteView kept = payload.first(std::min(payload.size(), MessageReader::kMostPayload));
            fuzz::require(message.header == header);
            fuzz::require(
                std::equal(kept.begin(), kept.end(), message.payload.begin(), message.payload.end()));
            expected = expected.subspan(wire::kHeaderSize + payload.size());
            fuzz::require(expected.size() == sockets.rest().size());
            parse(message);
        }
    } catch (const USBLinkError&) {
        // The stream has ended, before a whole message.
        fuzz::require(sockets.rest().empty());
        fuzz::require(expected.size() < wire::kHeaderSize ||
                      expected.size() - wire::kHeaderSize < wire::loadHeader(expected.data()).length);
    }
    return 0;
}
