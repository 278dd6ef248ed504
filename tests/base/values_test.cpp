#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "base/bytes.hpp"
#include "base/geometry.hpp"
#include "base/time.hpp"

namespace quillon {
namespace {

TEST(BytesTest, NumbersAreStoredBigEndian) {
    std::array<uint8_t, 8> bytes{};
    storeBigEndian32(bytes.data(), 0x01020304);
    EXPECT_EQ((std::array<uint8_t, 8>{1, 2, 3, 4, 0, 0, 0, 0}), bytes);
    EXPECT_EQ(loadBigEndian32(bytes.data()), 0x01020304u);
    storeBigEndian64(bytes.data(), 0x0102030405060708);
    EXPECT_EQ((std::array<uint8_t, 8>{1, 2, 3, 4, 5, 6, 7, 8}), bytes);
    EXPECT_EQ(loadBigEndian64(bytes.data()), 0x0102030405060708u);
    storeBigEndian32(bytes.data(), 0xFFFFFFFF);
    EXPECT_EQ(loadBigEndian32(bytes.data()), 0xFFFFFFFFu);
}

TEST(BytesTest, FloatsTravelAsTheirBits) {
    std::array<uint8_t, 4> bytes{};
    storeBigEndianFloat(bytes.data(), 1.0f);
    EXPECT_EQ((std::array<uint8_t, 4>{0x3F, 0x80, 0, 0}), bytes);
    EXPECT_EQ(loadBigEndianFloat(bytes.data()), 1.0f);
    storeBigEndianFloat(bytes.data(), std::numeric_limits<float>::quiet_NaN());
    EXPECT_TRUE(std::isnan(loadBigEndianFloat(bytes.data())));
}

TEST(GeometryTest, AnIntersectionIsWhatBothCover) {
    EXPECT_EQ(intersection({0, 0, 10, 10}, {5, 6, 10, 10}), (PixelRect{5, 6, 5, 4}));
    EXPECT_TRUE(intersection({0, 0, 10, 10}, {10, 0, 5, 5}).isEmpty());
    EXPECT_TRUE(intersection({0, 0, 10, 10}, {20, 20, 5, 5}).isEmpty());
}

TEST(GeometryTest, FarEdgesLieOutside) {
    const Rect rect{10, 20, 30, 40};
    EXPECT_TRUE(rect.contains({10, 20}));
    EXPECT_TRUE(rect.contains({39.5, 59.5}));
    EXPECT_FALSE(rect.contains({40, 30}));
    EXPECT_FALSE(rect.contains({20, 60}));
    EXPECT_FALSE(rect.contains({std::nan(""), 30}));
}

TEST(TimeTest, SecondsReadBackAndAreBounded) {
    EXPECT_EQ(seconds(0.6), 600ms);
    EXPECT_EQ(toSeconds(1500ms), 1.5);
    EXPECT_EQ(toMilliseconds(1500us), 1.5);
    EXPECT_EQ(seconds(1e30), seconds(1e9));
    EXPECT_EQ(seconds(-1e30), -seconds(1e9));
}

TEST(TimeTest, TheSessionClockCountsWholeMicrosecondsFromItsOrigin) {
    const Instant origin{1h};
    EXPECT_EQ(sessionMicroseconds(origin, origin), 0u);
    EXPECT_EQ(sessionMicroseconds(origin, origin + 1999ns), 1u);
    EXPECT_EQ(sessionMicroseconds(origin, origin + 24h), 86'400'000'000u);
    EXPECT_EQ(sessionMicroseconds(origin, origin - 1s), 0u);
}

}  // namespace
}  // namespace quillon
