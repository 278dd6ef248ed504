// The writer over real sockets and threads.

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <optional>
#include <thread>

#include "platform/platform.hpp"
#include "platform/posix/sockets.hpp"
#include "tests/transport/doubles.hpp"
#include "tests/transport/local_ends.hpp"
#include "transport/packet_writer.hpp"

namespace quillon {
namespace {

using Kind = PacketWriter::Kind;

class PacketWriterSocketTest : public ::testing::Test {
  protected:
    PacketWriterSocketTest() { std::tie(host, device) = test::localPair(); }
    ~PacketWriterSocketTest() override { endLink(); }

    /// As the session ends a link.
    void endLink() {
        sockets.shutdown(host.get());
        writer.reset();
        host.close();
    }

    test::SetClock clock;
    PosixSockets sockets;
    const std::unique_ptr<Platform> platform = makePlatform();
    Threads& threads = platform->threads();
    Descriptor host;
    Descriptor device;
    std::optional<PacketWriter> writer;
};

TEST_F(PacketWriterSocketTest, WritesWhatManyProducersGiveWholeAndInOrder) {
    writer.emplace(clock, threads, sockets, host.get(), 262144);
    constexpr int kProducers = 4;
    constexpr int kPackets = 500;
    constexpr size_t kSize = 100;
    std::vector<std::thread> producers;
    for (int producer = 0; producer < kProducers; ++producer) {
        producers.emplace_back([this, producer] {
            for (int i = 0; i < kPackets; ++i) {
                Bytes packet(kSize, static_cast<uint8_t>(producer));
                storeBigEndian32(packet.data(), static_cast<uint32_t>(i));
                EXPECT_TRUE(writer->enqueue(std::move(packet), Kind::control));
            }
        });
    }
    std::vector<uint32_t> next(kProducers, 0);
    for (int i = 0; i < kProducers * kPackets; ++i) {
        const std::string packet = test::receivedText(device.get(), kSize);
        ASSERT_EQ(packet.size(), kSize);
        const auto* bytes = reinterpret_cast<const uint8_t*>(packet.data());
        const uint8_t producer = bytes[kSize - 1];
        ASSERT_LT(producer, kProducers);
        EXPECT_TRUE(std::all_of(bytes + 4, bytes + kSize, [&](uint8_t byte) { return byte == producer; }));
        EXPECT_EQ(loadBigEndian32(bytes), next[producer]++);
    }
    for (auto& producer : producers) producer.join();
}

TEST_F(PacketWriterSocketTest, BackPressureFillsTheSlotAndThenRefuses) {
    writer.emplace(clock, threads, sockets, host.get(), 16384);
    const Bytes frame(1 << 20, 'f');
    ASSERT_TRUE(writer->enqueue(frame, Kind::video));
    // The first byte shows that the frame has left the slot; the rest does not fit the socket.
    EXPECT_EQ(test::receivedText(device.get(), 1), "f");
    EXPECT_FALSE(writer->hasRoomForVideo());
    EXPECT_TRUE(writer->enqueue(frame, Kind::video));
    EXPECT_FALSE(writer->enqueue(frame, Kind::video));
    EXPECT_EQ(writer->dropped(), 1);
    EXPECT_EQ(writer->sent(), 0);

    EXPECT_TRUE(writer->enqueue(test::bytesOf("c"), Kind::control));
    EXPECT_EQ(test::receivedText(device.get(), frame.size() - 1).size(), frame.size() - 1);
    EXPECT_EQ(test::receivedText(device.get(), 1), "c");
    EXPECT_EQ(test::receivedText(device.get(), frame.size()).size(), frame.size());
}

TEST_F(PacketWriterSocketTest, ABlockedWriterEndsWithItsLink) {
    writer.emplace(clock, threads, sockets, host.get(), 16384);
    writer->enqueue(Bytes(1 << 20, 'f'), Kind::video);
    writer->enqueue(Bytes(1 << 20, 'c'), Kind::control);
    EXPECT_EQ(test::receivedText(device.get(), 1).size(), 1u);
    endLink();
    EXPECT_TRUE(test::endsSoon(device.get()));
}

TEST_F(PacketWriterSocketTest, ADeviceThatIsGoneRaisesNoSignal) {
    writer.emplace(clock, threads, sockets, host.get(), 262144);
    device.close();
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(writer->enqueue(Bytes(1000), Kind::control));
    endLink();
}

}  // namespace
}  // namespace quillon
