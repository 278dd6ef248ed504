#include "transport/packet_writer.hpp"

#include <gtest/gtest.h>

#include "tests/transport/doubles.hpp"

namespace quillon {
namespace {

using test::bytesOf;
using test::textOf;
using Kind = PacketWriter::Kind;

/// The policy, step by step: the writer's queue runs when the test says so.
class PacketWriterTest : public ::testing::Test {
  protected:
    bool enqueue(std::string_view text, Kind kind) { return writer->enqueue(bytesOf(text), kind); }
    std::string written() const { return textOf(sockets.written); }

    test::SetClock clock;
    test::SteppedThreads threads;
    test::ScriptedSockets sockets;
    std::unique_ptr<PacketWriter> writer = std::make_unique<PacketWriter>(clock, threads, sockets, 7, 262144);
};

TEST_F(PacketWriterTest, SetsTheSendBufferAndNamesItsQueue) {
    EXPECT_EQ(sockets.sendBuffer, 262144);
    EXPECT_EQ(threads.labels, std::vector<std::string>{".writer"});
}

TEST_F(PacketWriterTest, StartsEmpty) {
    EXPECT_EQ(writer->dropped(), 0);
    EXPECT_EQ(writer->sent(), 0);
    EXPECT_EQ(writer->lastQueueDelay(), 0);
    EXPECT_TRUE(writer->hasRoomForVideo());
}

TEST_F(PacketWriterTest, SecondWaitingFrameIsRefusedAndTheFirstKept) {
    EXPECT_TRUE(enqueue("first", Kind::video));
    EXPECT_FALSE(enqueue("second", Kind::video));
    EXPECT_EQ(writer->dropped(), 1);
    threads.runAll();
    EXPECT_EQ(written(), "first");
    EXPECT_EQ(writer->sent(), 1);
}

TEST_F(PacketWriterTest, ControlOvertakesAWaitingFrameAndKeepsItsOrder) {
    enqueue("[video]", Kind::video);
    enqueue("[cursor]", Kind::latest);
    enqueue("[a]", Kind::control);
    enqueue("[b]", Kind::control);
    threads.runAll();
    EXPECT_EQ(written(), "[a][b][cursor][video]");
    EXPECT_EQ(writer->sent(), 4);
}

TEST_F(PacketWriterTest, OfLatestOnlyTheNewestIsWritten) {
    enqueue("1", Kind::latest);
    enqueue("2", Kind::latest);
    enqueue("3", Kind::latest);
    threads.runAll();
    EXPECT_EQ(written(), "3");
    EXPECT_EQ(writer->sent(), 1);
    EXPECT_EQ(writer->dropped(), 0);
}

TEST_F(PacketWriterTest, CloseDropsTheWaitingFrameAndRefusesTheRest) {
    enqueue("frame", Kind::video);
    enqueue("control", Kind::control);
    writer->close();
    threads.runAll();
    EXPECT_EQ(written(), "");
    EXPECT_EQ(writer->sent(), 0);
    for (const Kind kind : {Kind::video, Kind::control, Kind::latest}) EXPECT_FALSE(enqueue("late", kind));
    EXPECT_EQ(writer->dropped(), 0);
    EXPECT_FALSE(writer->hasRoomForVideo());
}

TEST_F(PacketWriterTest, CloseDuringASendEndsTheDrainAfterThatPacket) {
    enqueue("[a]", Kind::control);
    enqueue("[b]", Kind::control);
    sockets.onSend = [this] { writer->close(); };
    threads.runAll();
    EXPECT_EQ(written(), "[a]");
    EXPECT_EQ(writer->sent(), 1);
}

TEST_F(PacketWriterTest, GoesOnAfterPartialSends) {
    sockets.sendResults = {1, 2, 1};
    enqueue("abcdef", Kind::control);
    threads.runAll();
    EXPECT_EQ(written(), "abcdef");
    EXPECT_EQ(writer->sent(), 1);
}

TEST_F(PacketWriterTest, AFailedSendAbandonsItsPacketAndLeavesTheRestForTheNextDrain) {
    for (const ptrdiff_t failure : {-1, 0}) {
        SCOPED_TRACE(failure);
        sockets.written.clear();
        sockets.sendResults = {3, failure};
        enqueue("abandoned", Kind::control);
        enqueue("[next]", Kind::control);
        const int64_t before = writer->sent();
        threads.runAll();
        EXPECT_EQ(written(), "aba");
        EXPECT_EQ(writer->sent(), before);

        enqueue("[last]", Kind::control);
        threads.runAll();
        EXPECT_EQ(written(), "aba[next][last]");
        EXPECT_EQ(writer->sent(), before + 2);
    }
}

TEST_F(PacketWriterTest, APacketAcceptedDuringAFailingSendIsNotForgotten) {
    sockets.sendResults = {-1};
    sockets.onSend = [this] {
        sockets.onSend = nullptr;
        enqueue("[during]", Kind::control);
    };
    enqueue("[failing]", Kind::control);
    threads.runAll();
    EXPECT_EQ(written(), "[during]");
}

TEST_F(PacketWriterTest, QueueDelayIsThatOfTheLastFrame) {
    enqueue("frame", Kind::video);
    clock.time += 12500us;
    threads.runAll();
    EXPECT_DOUBLE_EQ(writer->lastQueueDelay(), 12.5);

    enqueue("control", Kind::control);
    enqueue("cursor", Kind::latest);
    clock.time += 1s;
    threads.runAll();
    EXPECT_DOUBLE_EQ(writer->lastQueueDelay(), 12.5);
}

TEST_F(PacketWriterTest, QueueDelayIsKnownBeforeTheFirstByteIsWritten) {
    enqueue("frame", Kind::video);
    clock.time += 3ms;
    sockets.onSend = [this] {
        EXPECT_DOUBLE_EQ(writer->lastQueueDelay(), 3);
        clock.time += 1s;
    };
    threads.runAll();
    EXPECT_DOUBLE_EQ(writer->lastQueueDelay(), 3);
}

TEST_F(PacketWriterTest, AFrameMayWaitWhileAnotherIsWrittenButThereIsNoRoom) {
    EXPECT_TRUE(enqueue("[1]", Kind::video));
    EXPECT_FALSE(writer->hasRoomForVideo());
    sockets.onSend = [this] {
        sockets.onSend = nullptr;
        EXPECT_FALSE(writer->hasRoomForVideo());
        EXPECT_TRUE(enqueue("[2]", Kind::video));
        EXPECT_FALSE(enqueue("[3]", Kind::video));
    };
    threads.runAll();
    EXPECT_EQ(written(), "[1][2]");
    EXPECT_TRUE(writer->hasRoomForVideo());
}

TEST_F(PacketWriterTest, ControlBeingWrittenLeavesRoomForVideo) {
    sockets.onSend = [this] { EXPECT_TRUE(writer->hasRoomForVideo()); };
    enqueue("control", Kind::control);
    threads.runAll();
}

TEST_F(PacketWriterTest, AFailedFrameLeavesRoomAgain) {
    sockets.sendResults = {-1};
    enqueue("frame", Kind::video);
    threads.runAll();
    EXPECT_TRUE(writer->hasRoomForVideo());
}

TEST_F(PacketWriterTest, RefusalsOfTheFramePathCountAsDropped) {
    writer->countRefusal();
    enqueue("kept", Kind::video);
    enqueue("refused", Kind::video);
    EXPECT_EQ(writer->dropped(), 2);
}

TEST_F(PacketWriterTest, FrameBuffersGoRound) {
    EXPECT_EQ(writer->takeSpareBuffer().capacity(), 0u);
    Bytes frame(100'000, 1);
    const uint8_t* memory = frame.data();
    writer->enqueue(std::move(frame), Kind::video);
    enqueue("control", Kind::control);
    threads.runAll();

    Bytes spare = writer->takeSpareBuffer();
    EXPECT_TRUE(spare.empty());
    EXPECT_EQ(spare.data(), memory);
    EXPECT_GE(spare.capacity(), 100'000u);
    EXPECT_EQ(writer->takeSpareBuffer().capacity(), 0u);
}

TEST_F(PacketWriterTest, OneWakeUpServesManyPackets) {
    for (int i = 0; i < 100; ++i) enqueue("x", Kind::control);
    EXPECT_EQ(threads.runAll(), 1);
    EXPECT_EQ(writer->sent(), 100);
}

TEST_F(PacketWriterTest, AReleasedWriterWritesNothingMore) {
    enqueue("control", Kind::control);
    enqueue("frame", Kind::video);
    writer.reset();
    EXPECT_TRUE(threads.waiting.empty());
    EXPECT_EQ(written(), "");
}

using PacketWriterDeathTest = PacketWriterTest;

TEST_F(PacketWriterDeathTest, ASendBufferBeyond32BitsIsABrokenInvariant) {
    for (const int64_t bytes : {int64_t{1} << 31, -(int64_t{1} << 31) - 1}) {
        EXPECT_DEATH(PacketWriter(clock, threads, sockets, 7, bytes), "");
    }
}

}  // namespace
}  // namespace quillon
