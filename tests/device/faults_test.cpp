#include "device/faults.hpp"

#include <gtest/gtest.h>

namespace quillon::device {
namespace {

using namespace std::chrono_literals;

const Moment kAccepted{100s};

Faults faultsOf(std::initializer_list<const char*> texts) {
    Faults faults;
    for (const char* text : texts) EXPECT_TRUE(addFault(faults, text)) << text;
    return faults;
}

TEST(Faults, ReadsEveryName) {
    const Faults faults =
        faultsOf({"no-ack", "no-keepalive", "silent", "garbage", "slow:1000", "stall:2.5@1", "cut:0"});
    EXPECT_TRUE(faults.noAck && faults.noKeepAlive && faults.silent && faults.garbage);
    EXPECT_EQ(faults.bytesPerSecond, 1000U);
    EXPECT_EQ(faults.stall->length, 2500ms);
    EXPECT_EQ(faults.stall->start, 1s);
    EXPECT_EQ(faults.cutAfter, 0U);
}

TEST(Faults, RefusesWhatItDoesNotKnow) {
    for (const char* text : {"", "noack", "silent:1", "slow", "slow:", "slow:0", "slow:-1", "slow:x",
                             "stall:1", "stall:@1", "stall:1@", "stall:-1@0", "cut:", "cut:1x", "explode"}) {
        Faults faults;
        EXPECT_FALSE(addFault(faults, text)) << text;
    }
}

TEST(ReadGate, IsOpenWithoutFaults) {
    const ReadGate gate({}, kAccepted);
    EXPECT_EQ(gate.mayRead(kAccepted, 4096).bytes, 4096U);
    EXPECT_FALSE(gate.isCut());
    EXPECT_FALSE(gate.isStalled(kAccepted));
}

TEST(ReadGate, SlowReadingKeepsTheRate) {
    ReadGate gate(faultsOf({"slow:1000"}), kAccepted);
    EXPECT_EQ(gate.mayRead(kAccepted, 4096).bytes, 0U);
    EXPECT_GT(gate.mayRead(kAccepted, 4096).wait, 0s);
    EXPECT_EQ(gate.mayRead(kAccepted + 500ms, 4096).bytes, 500U);
    gate.didRead(500);
    EXPECT_EQ(gate.mayRead(kAccepted + 500ms, 4096).bytes, 0U);
    EXPECT_EQ(gate.mayRead(kAccepted + 10s, 4096).bytes, 4096U);
}

TEST(ReadGate, AStallLastsFromItsStartForItsLength) {
    const ReadGate gate(faultsOf({"stall:2@1"}), kAccepted);
    EXPECT_EQ(gate.mayRead(kAccepted + 999ms, 10).bytes, 10U);
    EXPECT_EQ(gate.mayRead(kAccepted + 1s, 10).bytes, 0U);
    EXPECT_EQ(gate.mayRead(kAccepted + 1500ms, 10).wait, 1500ms);
    EXPECT_TRUE(gate.isStalled(kAccepted + 2999ms));
    EXPECT_FALSE(gate.isStalled(kAccepted + 3s));
    EXPECT_EQ(gate.mayRead(kAccepted + 3s, 10).bytes, 10U);
}

TEST(ReadGate, CutsAfterExactlySoManyBytes) {
    ReadGate gate(faultsOf({"cut:10"}), kAccepted);
    EXPECT_EQ(gate.mayRead(kAccepted, 7).bytes, 7U);
    gate.didRead(7);
    EXPECT_FALSE(gate.isCut());
    EXPECT_EQ(gate.mayRead(kAccepted, 7).bytes, 3U);
    gate.didRead(3);
    EXPECT_TRUE(gate.isCut());
}

}  // namespace
}  // namespace quillon::device
