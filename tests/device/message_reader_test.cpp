#include "device/message_reader.hpp"

#include <gtest/gtest.h>

namespace quillon::device {
namespace {

using wire::MessageType;

const Moment kEarly{std::chrono::seconds(1)};
const Moment kLate{std::chrono::seconds(2)};

struct Collected {
    MessageReader reader{[this](Message& message) { messages.push_back(message); }};
    std::vector<Message> messages;
};

Bytes header(uint8_t type, uint32_t length) {
    Bytes bytes(wire::kHeaderSize);
    wire::storeHeader(bytes.data(), {type, length, 0});
    return bytes;
}

TEST(DeviceMessageReader, CutsTwoMessagesAtEveryByte) {
    Bytes stream = wire::encodedMessage(MessageType::linkName, 0, viewOf("USB"));
    const Bytes second = wire::encodedMessage(MessageType::videoFrame, 77, Bytes{1, 2, 3, 4});
    stream.insert(stream.end(), second.begin(), second.end());
    for (size_t cut = 0; cut <= stream.size(); ++cut) {
        Collected all;
        all.reader.feed(ByteView(stream).first(cut), kEarly);
        all.reader.feed(ByteView(stream).subspan(cut), kLate);
        ASSERT_EQ(all.messages.size(), 2U) << cut;
        EXPECT_EQ(all.messages[0].type(), MessageType::linkName);
        EXPECT_EQ(all.messages[0].payload, (Bytes{'U', 'S', 'B'}));
        EXPECT_EQ(all.messages[1].header, (wire::Header{2, 4, 77}));
        EXPECT_EQ(all.messages[1].payload, (Bytes{1, 2, 3, 4}));
    }
}

TEST(DeviceMessageReader, KnowsWhenTheFirstAndTheLastByteCame) {
    const Bytes stream = wire::encodedMessage(MessageType::overlay, 0, Bytes{1});
    Collected all;
    all.reader.feed(ByteView(stream).first(1), kEarly);
    all.reader.feed(ByteView(stream).subspan(1), kLate);
    ASSERT_EQ(all.messages.size(), 1U);
    EXPECT_EQ(all.messages[0].arrival, kEarly);
    EXPECT_EQ(all.messages[0].complete, kLate);
}

TEST(DeviceMessageReader, AnEmptyMessageIsCompleteAfterItsHeader) {
    Collected all;
    all.reader.feed(header(2, 0), kEarly);
    ASSERT_EQ(all.messages.size(), 1U);
    EXPECT_TRUE(all.messages[0].payload.empty());
}

TEST(DeviceMessageReader, SkipsTypesOfLaterHostsWithoutKeepingThem) {
    Collected all;
    all.reader.feed(header(99, 1'000'000), kEarly);
    const Bytes chunk(250'000);
    for (int i = 0; i < 4; ++i) all.reader.feed(chunk, kEarly);
    all.reader.feed(wire::encodedMessage(MessageType::overlay, 0, Bytes{1}), kEarly);
    ASSERT_EQ(all.messages.size(), 2U);
    EXPECT_EQ(all.messages[0].header.type, 99);
    EXPECT_TRUE(all.messages[0].payload.empty());
    EXPECT_EQ(all.messages[1].payload, Bytes{1});
}

TEST(DeviceMessageReader, RefusesLengthsBeyondTheBoundBeforeAnyPayload) {
    Collected video;
    EXPECT_NO_THROW(video.reader.feed(header(2, 64U << 20), kEarly));
    Collected larger;
    EXPECT_THROW(larger.reader.feed(header(2, (64U << 20) + 1), kEarly), ProtocolError);
    Collected text;
    EXPECT_THROW(text.reader.feed(header(8, 65537), kEarly), ProtocolError);
    Collected unknown;
    EXPECT_NO_THROW(unknown.reader.feed(header(200, 0xFFFFFFFF), kEarly));
}

TEST(DeviceMessageReader, TheMessagesOfADeviceAreNoMessagesToIt) {
    EXPECT_TRUE(isKnownToDevice(1));
    EXPECT_FALSE(isKnownToDevice(3));
    EXPECT_FALSE(isKnownToDevice(15));
}

}  // namespace
}  // namespace quillon::device
