#include "platform/linux/edid.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <string>

namespace quillon::testing {
namespace {

Edid tablet(std::string_view name, Size size = {2048, 1536}) {
    return edidOf({{1452, 4096}, 1, name, 160.5, 120.4, videoTiming(size, 60).value(), 60});
}

std::string text(const Edid& edid, size_t at) {
    return {edid.begin() + static_cast<ptrdiff_t>(at), edid.begin() + static_cast<ptrdiff_t>(at) + 13};
}

TEST(VideoTimingTest, KeepsSizesExactly) {
    for (const Size size : {Size{2732, 2048}, Size{801, 601}, Size{1, 1}, Size{8192, 8192}}) {
        const auto timing = videoTiming(size, 60);
        ASSERT_TRUE(timing);
        EXPECT_EQ(timing->across.visible, size.width);
        EXPECT_EQ(timing->down.visible, size.height);
        EXPECT_LT(timing->across.visible, timing->across.syncBegin);
        EXPECT_LT(timing->across.syncBegin, timing->across.syncEnd);
        EXPECT_LT(timing->across.syncEnd, timing->across.total);
        EXPECT_LT(timing->down.syncEnd, timing->down.total);
        const double rate =
            timing->pixelClock / (static_cast<double>(timing->across.total) * timing->down.total);
        EXPECT_NEAR(rate, 60, 1e-3);
    }
}

TEST(VideoTimingTest, RefusesWhatNoTimingCanBe) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(videoTiming({0, 768}, 60));
    EXPECT_FALSE(videoTiming({1024, 0}, 60));
    EXPECT_FALSE(videoTiming({-1, -1}, 60));
    EXPECT_FALSE(videoTiming({32768, 768}, 60));
    EXPECT_FALSE(videoTiming({1024, 32768}, 60));
    for (const double rate : {0.0, -60.0, nan, HUGE_VAL, 1e9, 2173.0})
        EXPECT_FALSE(videoTiming({64, 64}, rate));
    EXPECT_FALSE(videoTiming({32767, 32767}, 60)) << "more than 4 GHz";
}

TEST(EdidTest, SaysWhatTheMonitorIs) {
    const Edid edid = tablet("Quillon iPad");
    EXPECT_EQ(identityFromEdid(edid), (Displays::Identity{1452, 4096}));
    EXPECT_EQ((std::array{edid[12], edid[13], edid[14], edid[15]}), (std::array<uint8_t, 4>{1, 0, 0, 0}));
    EXPECT_EQ(edid[18], 1);
    EXPECT_EQ(edid[19], 3);
    EXPECT_EQ(edid[21], 16) << "cm";
    EXPECT_EQ(edid[22], 12) << "cm";
    EXPECT_EQ(text(edid, 95), "Quillon iPad\n");
    EXPECT_EQ(edid[126], 0);
    EXPECT_EQ(std::accumulate(edid.begin(), edid.end(), 0u) % 256, 0u);
}

TEST(EdidTest, PrefersTheFirstMode) {
    const Edid edid = tablet("", {2732, 2048});
    const uint8_t* const timing = &edid[54];
    EXPECT_EQ(timing[2] | (timing[4] >> 4) << 8, 2732);
    EXPECT_EQ(timing[5] | (timing[7] >> 4) << 8, 2048);
    EXPECT_EQ(timing[12] | (timing[14] >> 4) << 8, 161) << "mm";
    EXPECT_EQ(timing[13] | (timing[14] & 0xF) << 8, 120) << "mm";
    const double clock = (timing[0] | timing[1] << 8) * 1e4;
    const double across = 2732 + (timing[3] | (timing[4] & 0xF) << 8);
    const double down = 2048 + (timing[6] | (timing[7] & 0xF) << 8);
    EXPECT_NEAR(clock / across / down, 60, 0.01);
}

TEST(EdidTest, LeavesOutATimingThatHasNoRoom) {
    const Edid edid = tablet("x", {4096, 2160});
    EXPECT_EQ(edid[54], 0);
    EXPECT_EQ(edid[55], 0);
    EXPECT_EQ(edid[57], 0x10);
    EXPECT_EQ(std::accumulate(edid.begin(), edid.end(), 0u) % 256, 0u);
}

TEST(EdidTest, FitsAnyName) {
    EXPECT_EQ(text(tablet(""), 95), "\n            ");
    EXPECT_EQ(text(tablet("Quillon"), 95), "Quillon\n     ");
    EXPECT_EQ(text(tablet("Thirteen char"), 95), "Thirteen char");
    EXPECT_EQ(text(tablet("A very long name indeed"), 95), "A very long n");
    EXPECT_EQ(text(tablet("K\xC3\xBC"
                          "che\n"),
                   95),
              "K??che?\n     ");
}

TEST(EdidTest, HalfABlockHasNoIdentity) {
    const Edid edid = tablet("x");
    EXPECT_EQ(identityFromEdid(std::span(edid).first(127)), Displays::Identity{});
    EXPECT_EQ(identityFromEdid({}), Displays::Identity{});
}

}  // namespace
}  // namespace quillon::testing
