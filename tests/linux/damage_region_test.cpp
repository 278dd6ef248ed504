#include "platform/linux/damage_region.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace quillon {

static void PrintTo(const PixelRect& rect, std::ostream* out) {
    *out << rect.width << "x" << rect.height << "+" << rect.x << "+" << rect.y;
}

namespace {

std::vector<PixelRect> sorted(const DamageRegion& region) {
    std::vector<PixelRect> rects(region.rects().begin(), region.rects().end());
    std::ranges::sort(rects, {}, [](const PixelRect& r) { return std::pair{r.y, r.x}; });
    return rects;
}

using Rects = std::vector<PixelRect>;

TEST(DamageRegion, IgnoresEmptyRectangles) {
    DamageRegion region;
    region.add(PixelRect{5, 5, 0, 10});
    region.add(PixelRect{5, 5, 10, -1});
    EXPECT_TRUE(region.isEmpty());
}

TEST(DamageRegion, KeepsWhatLiesApart) {
    DamageRegion region;
    region.add(PixelRect{0, 0, 10, 10});
    region.add(PixelRect{100, 100, 10, 10});
    EXPECT_EQ(sorted(region), (Rects{{0, 0, 10, 10}, {100, 100, 10, 10}}));
}

TEST(DamageRegion, SwallowsWhatIsCovered) {
    DamageRegion region(PixelRect{0, 0, 100, 100});
    region.add(PixelRect{10, 10, 5, 5});
    EXPECT_EQ(sorted(region), (Rects{{0, 0, 100, 100}}));
    DamageRegion small;
    small.add(PixelRect{10, 10, 5, 5});
    small.add(PixelRect{60, 60, 5, 5});
    small.add(PixelRect{0, 0, 100, 100});
    EXPECT_EQ(sorted(small), (Rects{{0, 0, 100, 100}}));
}

TEST(DamageRegion, JoinsNeighboursThatMakeARectangle) {
    DamageRegion region;
    region.add(PixelRect{0, 0, 10, 10});
    region.add(PixelRect{20, 0, 10, 10});
    region.add(PixelRect{10, 0, 10, 10});
    EXPECT_EQ(sorted(region), (Rects{{0, 0, 30, 10}}));
}

TEST(DamageRegion, MergesTheCheapestPairBeyondItsLimit) {
    DamageRegion region;
    for (int i = 0; i < static_cast<int>(DamageRegion::kLimit); ++i)
        region.add(PixelRect{i * 100, 0, 10, 10});
    region.add(PixelRect{302, 20, 10, 10});
    EXPECT_EQ(region.rects().size(), DamageRegion::kLimit);
    EXPECT_TRUE(region.covers({300, 0, 12, 30}));
    EXPECT_TRUE(region.covers({400, 0, 10, 10}));
    EXPECT_FALSE(region.covers({400, 0, 12, 10}));
}

TEST(DamageRegion, CoversEverythingThatWasAdded) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        DamageRegion region;
        std::vector<PixelRect> added;
        for (int i = 0; i < 40; ++i) {
            const auto upTo = [&](int limit) {
                return static_cast<int>(random() % static_cast<unsigned>(limit));
            };
            added.push_back({upTo(2000), upTo(1000), 1 + upTo(200), 1 + upTo(100)});
            region.add(added.back());
            ASSERT_LE(region.rects().size(), DamageRegion::kLimit);
        }
        for (const PixelRect& rect : added) ASSERT_TRUE(region.covers(rect));
    }
}

TEST(DamageRegion, AlignsToChromaCells) {
    EXPECT_EQ(evenAligned({1, 1, 1, 1}), (PixelRect{0, 0, 2, 2}));
    EXPECT_EQ(evenAligned({2, 4, 6, 8}), (PixelRect{2, 4, 6, 8}));
    EXPECT_EQ(evenAligned({3, 3, 2, 2}), (PixelRect{2, 2, 4, 4}));
    EXPECT_EQ(evenAligned({-1, -2, 1, 1}), (PixelRect{-2, -2, 2, 2}));
}

}  // namespace
}  // namespace quillon
