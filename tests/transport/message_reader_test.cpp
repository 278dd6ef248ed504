#include "transport/message_reader.hpp"

#include <gtest/gtest.h>

#include "tests/transport/doubles.hpp"
#include "transport/usb_link.hpp"

namespace quillon {
namespace {

class MessageReaderTest : public ::testing::Test {
  protected:
    /// Adds a message with `claimed` as its length.
    void add(uint8_t type, uint32_t claimed, const Bytes& payload, uint64_t pts = 0) {
        Bytes header(wire::kHeaderSize);
        wire::storeHeader(header.data(), {type, claimed, pts});
        sockets.incoming.insert(sockets.incoming.end(), header.begin(), header.end());
        sockets.incoming.insert(sockets.incoming.end(), payload.begin(), payload.end());
    }
    void add(uint8_t type, const Bytes& payload, uint64_t pts = 0) {
        add(type, static_cast<uint32_t>(payload.size()), payload, pts);
    }

    test::ScriptedSockets sockets;
    MessageReader reader{sockets, 7};
};

TEST_F(MessageReaderTest, ReadsMessagesOneAfterTheOther) {
    add(3, {}, 0x0102030405060708);
    add(12, test::bytesOf("2048x1536"));
    const auto acknowledgement = reader.next();
    EXPECT_EQ(acknowledgement.header, (wire::Header{3, 0, 0x0102030405060708}));
    EXPECT_TRUE(acknowledgement.payload.empty());
    const auto report = reader.next();
    EXPECT_EQ(report.header.type, 12);
    EXPECT_EQ(test::textOf(report.payload), "2048x1536");
}

TEST_F(MessageReaderTest, AnEmptyMessageIsCompleteAfterItsHeader) {
    add(15, {});
    EXPECT_EQ(reader.next().header.type, 15);
    EXPECT_EQ(sockets.largestRead, wire::kHeaderSize);
}

TEST_F(MessageReaderTest, UnknownTypesAreReadToTheirEnd) {
    add(13, {1, 2, 3, 4, 5});
    add(3, {}, 42);
    EXPECT_EQ(reader.next().header.type, 13);
    EXPECT_EQ(reader.next().header, (wire::Header{3, 0, 42}));
}

TEST_F(MessageReaderTest, OfALongPayloadTheBeginningIsKeptAndTheRestSkipped) {
    for (const size_t size : {4095u, 4096u, 4097u, 8192u, 100'000u}) {
        SCOPED_TRACE(size);
        Bytes payload(size, 'x');
        payload.back() = 'z';
        add(200, payload);
        add(15, {});
        const auto message = reader.next();
        EXPECT_EQ(message.header.length, size);
        EXPECT_EQ(message.payload.size(), std::min<size_t>(size, 4096));
        EXPECT_EQ(message.payload.front(), 'x');
        EXPECT_EQ(reader.next().header.type, 15);
    }
    EXPECT_LE(sockets.largestRead, 4096u);
}

TEST_F(MessageReaderTest, ALengthOfFourGigabytesTakesNoMemory) {
    add(12, 0xFFFFFFFF, Bytes(10'000, 1));
    EXPECT_THROW(reader.next(), USBLinkError);
    EXPECT_LE(sockets.largestRead, 4096u);
}

TEST_F(MessageReaderTest, AStreamCutAtAnyByteIsAnError) {
    add(12, test::bytesOf("2048x1536"));
    const Bytes whole = sockets.incoming;
    for (size_t size = 0; size < whole.size(); ++size) {
        test::ScriptedSockets cut;
        cut.incoming.assign(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
        MessageReader cutReader(cut, 7);
        try {
            cutReader.next();
            ADD_FAILURE() << "a message of " << size << " bytes";
        } catch (const USBLinkError& error) {
            EXPECT_EQ(error.kind(), USBLinkError::Case::connect);
            EXPECT_STREQ(error.what(), "usbmux connect failed: recv() errno 0");
        }
    }
}

}  // namespace
}  // namespace quillon
