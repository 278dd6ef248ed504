#include "transport/wire_protocol.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cmath>
#include <csignal>
#include <limits>

#include "tests/transport/doubles.hpp"

namespace quillon::wire {
namespace {

using test::bytesOf;
using test::textOf;

// Bytes written by hand from the protocol's description, never by the code under test.

TEST(WireMessageTest, CodecConfiguration) {
    EXPECT_EQ(encodedMessage(MessageType::codecConfiguration, 0, Bytes{0x01, 0x4D, 0x00, 0x1F}),
              (Bytes{1, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x4D, 0x00, 0x1F}));
}

TEST(WireMessageTest, VideoFrame) {
    EXPECT_EQ(encodedMessage(MessageType::videoFrame, 0x0102030405060708, Bytes{0xAA, 0xBB, 0xCC}),
              (Bytes{2, 0, 0, 0, 3, 1, 2, 3, 4, 5, 6, 7, 8, 0xAA, 0xBB, 0xCC}));
}

TEST(WireMessageTest, AcknowledgementIsAHeaderOnly) {
    EXPECT_EQ(encodedMessage(MessageType::acknowledgement, 1'000'000, {}),
              (Bytes{3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0F, 0x42, 0x40}));
}

TEST(WireMessageTest, Input) {
    EXPECT_EQ(encodedMessage(MessageType::input, 0, inputPayload({Input::press, 0.5F, 0.25F, 0, 0})),
              (Bytes{4, 0, 0, 0,    17,   0, 0, 0, 0, 0, 0, 0, 0, 1, 0x3F,
                     0, 0, 0, 0x3E, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(WireMessageTest, Smoothing) {
    EXPECT_EQ(encodedMessage(MessageType::smoothing, 0, Bytes{smoothingByte(3)}),
              (Bytes{5, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 3}));
}

TEST(WireMessageTest, CursorMessage) {
    EXPECT_EQ(encodedMessage(MessageType::cursor, 0, cursorPayload({true, 0.5, 1.0})),
              (Bytes{6, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0x3F, 0, 0, 0, 0x3F, 0x80, 0, 0}));
}

TEST(WireMessageTest, LinkName) {
    EXPECT_EQ(encodedMessage(MessageType::linkName, 0, viewOf("USB")),
              (Bytes{7, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 'U', 'S', 'B'}));
}

TEST(WireMessageTest, SettingsLine) {
    EXPECT_EQ(encodedMessage(MessageType::settingsLine, 0, viewOf("1×2")),
              (Bytes{8, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, '1', 0xC3, 0x97, '2'}));
}

TEST(WireMessageTest, DropCount) {
    EXPECT_EQ(encodedMessage(MessageType::dropCount, 0, dropCountPayload(258)),
              (Bytes{9, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2}));
}

TEST(WireMessageTest, Overlay) {
    EXPECT_EQ(encodedMessage(MessageType::overlay, 0, Bytes{1}),
              (Bytes{10, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
}

TEST(WireMessageTest, PanelReport) {
    EXPECT_EQ(encodedMessage(MessageType::panelReport, 0, viewOf("9x9")),
              (Bytes{12, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, '9', 'x', '9'}));
}

TEST(WireMessageTest, KeepAlive) {
    EXPECT_EQ(encodedMessage(MessageType::keepAlive, 0, {}), (Bytes{15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(WireMessageTest, TheHeaderReadsBackInFull) {
    const Bytes bytes{0xFF, 0xFE, 0xDC, 0xBA, 0x98, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88};
    const Header header = loadHeader(bytes.data());
    EXPECT_EQ(header, (Header{0xFF, 0xFEDCBA98, 0x8182838485868788}));
    Bytes again(kHeaderSize);
    storeHeader(again.data(), header);
    EXPECT_EQ(again, bytes);
}

TEST(WireMessageTest, ABufferIsReusedWithoutItsOldContent) {
    Bytes buffer(1000, 0xEE);
    const uint8_t* memory = buffer.data();
    encodeMessage(buffer, MessageType::overlay, 0, Bytes{0});
    EXPECT_EQ(buffer, (Bytes{10, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(buffer.data(), memory);
}

TEST(WireMessageTest, AFreshBufferIsExactlyAsLargeAsTheMessage) {
    EXPECT_EQ(encodedMessage(MessageType::videoFrame, 0, Bytes(5000)).capacity(), 5013u);
}

TEST(WireMessageTest, ABufferThatIsMuchTooSmallGrowsToExactlyTheMessage) {
    Bytes buffer(1);
    encodeMessage(buffer, MessageType::videoFrame, 0, Bytes(5000));
    EXPECT_EQ(buffer.capacity(), 5013u);
}

TEST(WireMessageTest, ABufferThatIsALittleTooSmallDoubles) {
    Bytes buffer(5000);
    encodeMessage(buffer, MessageType::videoFrame, 0, Bytes(5000));
    EXPECT_EQ(buffer.capacity(), 10'000u);
}

TEST(WireMessageDeathTest, APayloadBeyond32BitsIsABrokenInvariant) {
    // Address space alone: nobody may touch it.
    constexpr size_t kTooMuch = size_t{1} << 32;
    void* const memory =
        mmap(nullptr, kTooMuch, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    const ByteView payload(static_cast<const uint8_t*>(memory), kTooMuch);
    Bytes buffer;
    EXPECT_EXIT(encodeMessage(buffer, MessageType::videoFrame, 0, payload), testing::KilledBySignal(SIGABRT),
                "^$");
    munmap(memory, kTooMuch);
}

TEST(WireSmoothingTest, IsClampedToAByte) {
    EXPECT_EQ(smoothingByte(300), 255);
    EXPECT_EQ(smoothingByte(255), 255);
    EXPECT_EQ(smoothingByte(0), 0);
    EXPECT_EQ(smoothingByte(-1), 0);
    EXPECT_EQ(smoothingByte(std::numeric_limits<int64_t>::max()), 255);
    EXPECT_EQ(smoothingByte(std::numeric_limits<int64_t>::min()), 0);
}

TEST(WireDropCountTest, IsClampedTo32Bits) {
    EXPECT_EQ(dropCountPayload(-1), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(dropCountPayload(4294967295), (Bytes{255, 255, 255, 255}));
    EXPECT_EQ(dropCountPayload(4294967296), (Bytes{255, 255, 255, 255}));
}

TEST(WireCursorTest, HiddenAtTheOrigin) {
    EXPECT_EQ(cursorPayload({false, 0, 0}), Bytes(9));
}

TEST(WireCursorTest, ReadsBack) {
    const auto cursor = parseCursor(Bytes{1, 0x3E, 0x80, 0, 0, 0x3F, 0x40, 0, 0});
    ASSERT_TRUE(cursor);
    EXPECT_TRUE(cursor->visible);
    EXPECT_EQ(cursor->x, 0.25);
    EXPECT_EQ(cursor->y, 0.75);
    EXPECT_FALSE(parseCursor(Bytes(8)));
}

TEST(WireLinkNameTest, IsTheKindOfLink) {
    EXPECT_EQ(linkName("USB"), "USB");
    EXPECT_EQ(linkName("USB link (169.254.3.4)"), "USB");
    EXPECT_EQ(linkName("Wi-Fi (192.168.1.30)"), "Wi-Fi");
    EXPECT_EQ(linkName("carrier pigeon"), "carrier pigeon");
    EXPECT_EQ(linkName("a USB"), "a USB");
    EXPECT_EQ(linkName(""), "");
}

TEST(WireSettingsLineTest, NamesTheQualityUnlessItIsBest) {
    Settings settings{.virtualSize = {1024, 768}};
    EXPECT_EQ(settingsLine(settings), "1024\u00D7768 | Smooth Off | Fit");
    settings.quality = StreamQuality::balanced;
    EXPECT_EQ(settingsLine(settings), "1024\u00D7768 | Smooth Off | Balanced | Fit");
}

TEST(WireSettingsLineTest, MirrorHasNoSize) {
    EXPECT_EQ(settingsLine({.mirror = true,
                            .virtualSize = {1024, 768},
                            .smoothness = 1,
                            .quality = StreamQuality::fast,
                            .scaling = Scaling::stretch}),
              "Mirror | Smooth On | Fast | Stretch");
}

TEST(WireSettingsLineTest, SmoothnessBelowOneIsOff) {
    EXPECT_EQ(settingsLine({.mirror = true, .smoothness = -5}), "Mirror | Smooth Off | Fit");
    EXPECT_EQ(settingsLine({.mirror = true, .smoothness = 300, .scaling = Scaling::fill}),
              "Mirror | Smooth On | Fill");
}

TEST(WireGreetingTest, TheSecondTokenIsTheVersion) {
    EXPECT_EQ(parseGreeting("Tablet 2 2048x1536").protocolVersion, 2);
    EXPECT_TRUE(parseGreeting("Tablet 2 2048x1536").supportsPing());
    EXPECT_EQ(panelSize("Tablet 2 2048x1536"), (Size{2048, 1536}));
    EXPECT_EQ(parseGreeting("Tablet  3").protocolVersion, 3);
    EXPECT_EQ(parseGreeting("Tablet +2").protocolVersion, 2);
    EXPECT_EQ(parseGreeting("Tablet -2").protocolVersion, -2);
    EXPECT_FALSE(parseGreeting("Tablet -2").supportsPing());
}

TEST(WireGreetingTest, WithoutAVersionItIsOne) {
    for (const auto line : {"", " ", "Tablet", "Tablet ", "Tablet two 2048x1536", "Tablet 2a", "Tablet 2.0",
                            "Tablet 0x2", "Tablet 99999999999999999999", "Tablet 2\r", "Tablet 2048x1536"}) {
        EXPECT_EQ(parseGreeting(line).protocolVersion, 1) << line;
        EXPECT_FALSE(parseGreeting(line).supportsPing()) << line;
    }
}

TEST(WirePanelSizeTest, IsTheFirstTokenOfThatForm) {
    EXPECT_EQ(panelSize("2048x1536"), (Size{2048, 1536}));
    EXPECT_EQ(panelSize("panel 2048x1536 1024x768"), (Size{2048, 1536}));
    EXPECT_EQ(panelSize("50x50 x 101x101"), (Size{101, 101}));
    EXPECT_EQ(panelSize(std::nullopt), std::nullopt);
}

TEST(WirePanelSizeTest, OfFiveTokensTheFifthAndThenTheFirstCount) {
    EXPECT_EQ(panelSize("1024x768 a b c 2732x2048"), (Size{2732, 2048}));
    EXPECT_EQ(panelSize("1024x768 a b c 2732x50"), (Size{1024, 768}));
    EXPECT_EQ(panelSize("a 1024x768 b c d 2732x2048"), std::nullopt);
    EXPECT_EQ(panelSize("a b c 1024x768"), (Size{1024, 768}));
}

TEST(WirePanelSizeTest, BothNumbersAreAbove100AndThoseOfAPanel) {
    for (const auto text :
         {"1024x50", "100x101", "101x100", "1024x", "x768", "x", "1024", "1024X768", "1024x768x2",
          "1024 x 768", "-1024x768", "99999999999999999999x768", "8193x768", "1024x8193", "1024x768\r", ""}) {
        EXPECT_EQ(panelSize(text), std::nullopt) << text;
    }
    EXPECT_EQ(panelSize("8192x8192"), (Size{8192, 8192}));
    EXPECT_EQ(panelSize("9000x9000 2048x1536"), (Size{2048, 1536}));
}

TEST(WireInputTest, NeedsSeventeenBytesAndIgnoresMore) {
    Bytes bytes{2, 0x3F, 0, 0, 0, 0x3F, 0x80, 0, 0, 0xC1, 0x48, 0, 0, 0x41, 0x4B, 0x33, 0x33, 7, 8, 9};
    const auto input = parseInput(bytes);
    ASSERT_TRUE(input);
    EXPECT_EQ(input->action, Input::drag);
    EXPECT_EQ(input->x, 0.5F);
    EXPECT_EQ(input->y, 1.0F);
    EXPECT_EQ(input->dx, -12.5F);
    EXPECT_EQ(input->dy, 12.7F);
    bytes.resize(17);
    EXPECT_TRUE(parseInput(bytes));
    bytes.resize(16);
    EXPECT_FALSE(parseInput(bytes));
    EXPECT_FALSE(parseInput({}));
}

TEST(WireInputTest, AnyBitPatternIsANumberOrNone) {
    const auto input = parseInput(Bytes(17, 0xFF));
    ASSERT_TRUE(input);
    EXPECT_EQ(input->action, 255);
    EXPECT_TRUE(std::isnan(input->x));
}

TEST(WireInputTest, ReadsBack) {
    const Input scroll{Input::scroll, 0.1F, 1.2F, -3.5F, std::numeric_limits<float>::infinity()};
    const auto again = parseInput(inputPayload(scroll));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->action, Input::scroll);
    EXPECT_EQ(again->x, scroll.x);
    EXPECT_EQ(again->y, scroll.y);
    EXPECT_EQ(again->dx, scroll.dx);
    EXPECT_EQ(again->dy, scroll.dy);
}

}  // namespace
}  // namespace quillon::wire
