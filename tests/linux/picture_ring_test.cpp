#include "platform/linux/picture_ring.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace quillon {
namespace {

constexpr Size kSize{64, 48};
constexpr PixelRect kAll{0, 0, 64, 48};

void paint(Picture& picture, const PixelRect& rect, uint8_t luma) {
    for (int y = rect.y; y < rect.bottom(); ++y) {
        for (int x = rect.x; x < rect.right(); ++x) *planeAt(picture, 0, x, y) = luma;
    }
}

PicturePtr publish(PictureRing& ring, const PixelRect& rect, uint8_t luma) {
    paint(ring.begin(DamageRegion(rect)), rect, luma);
    return ring.publish();
}

TEST(PictureRing, NumbersPicturesAndTellsTheirDamage) {
    PictureRing ring(kSize);
    EXPECT_EQ(ring.newest(), nullptr);
    const PicturePtr first = publish(ring, kAll, 1);
    EXPECT_EQ(first->sequence, 1u);
    EXPECT_EQ(first->width, 64);
    EXPECT_EQ(first->damage, std::vector<PixelRect>{kAll});
    const PicturePtr second = publish(ring, {2, 4, 6, 8}, 2);
    EXPECT_EQ(second->sequence, 2u);
    EXPECT_EQ(second->damage, (std::vector<PixelRect>{{2, 4, 6, 8}}));
    EXPECT_EQ(ring.newest(), second);
}

TEST(PictureRing, WritesInPlaceWhenNobodyReads) {
    PictureRing ring(kSize);
    const Picture* first = publish(ring, kAll, 1).get();
    EXPECT_EQ(publish(ring, {0, 0, 2, 2}, 2).get(), first);
    EXPECT_EQ(*planeAt(*first, 0, 0, 0), 2);
    EXPECT_EQ(*planeAt(*first, 0, 2, 2), 1);
}

TEST(PictureRing, GivesBackWhatNobodyReadsAndGoesOn) {
    PictureRing ring(kSize);
    std::vector<PicturePtr> held{publish(ring, kAll, 1)};
    held.push_back(publish(ring, {0, 0, 2, 2}, 2));
    held.push_back(publish(ring, {10, 10, 4, 4}, 3));
    ring.dropSpares();
    EXPECT_EQ(ring.pictures(), 3u) << "each is read by somebody";
    const std::weak_ptr<const Picture> oldest = held[0];
    held.erase(held.begin());
    ring.dropSpares();
    EXPECT_TRUE(oldest.expired());
    EXPECT_EQ(ring.pictures(), 2u);
    EXPECT_EQ(ring.newest(), held[1]) << "nobody reads it later, and it stays all the same";
    held.erase(held.begin());
    ring.dropSpares();

    const PicturePtr next = publish(ring, {20, 20, 4, 4}, 4);
    EXPECT_EQ(*planeAt(*next, 0, 0, 0), 2);
    EXPECT_EQ(*planeAt(*next, 0, 10, 10), 3);
    EXPECT_EQ(*planeAt(*next, 0, 20, 20), 4);
    EXPECT_EQ(*planeAt(*next, 0, 30, 30), 1);
    EXPECT_EQ(next->sequence, 4u);
}

TEST(PictureRing, NeverTouchesAPictureThatSomeoneHolds) {
    PictureRing ring(kSize);
    const PicturePtr held = publish(ring, kAll, 1);
    for (int i = 0; i < 20; ++i) publish(ring, kAll, static_cast<uint8_t>(10 + i));
    EXPECT_EQ(*planeAt(*held, 0, 5, 5), 1);
    EXPECT_EQ(held->sequence, 1u);
}

TEST(PictureRing, CatchesUpOnAllThatAPictureMissed) {
    PictureRing ring(kSize);
    std::vector<PicturePtr> held{publish(ring, kAll, 1)};
    held.push_back(publish(ring, {0, 0, 2, 2}, 2));
    held.push_back(publish(ring, {10, 10, 4, 4}, 3));
    held.push_back(publish(ring, {20, 20, 4, 4}, 4));
    EXPECT_FALSE(ring.hasRoom());
    const Picture* oldest = held[0].get();
    held[0].reset();
    EXPECT_TRUE(ring.hasRoom());
    const PicturePtr next = publish(ring, {30, 30, 2, 2}, 5);
    EXPECT_EQ(next.get(), oldest);
    EXPECT_EQ(*planeAt(*next, 0, 1, 1), 2);
    EXPECT_EQ(*planeAt(*next, 0, 13, 13), 3);
    EXPECT_EQ(*planeAt(*next, 0, 20, 20), 4);
    EXPECT_EQ(*planeAt(*next, 0, 31, 31), 5);
    EXPECT_EQ(*planeAt(*next, 0, 40, 40), 1);
}

TEST(PictureRing, ReadersOnOtherThreadsAreInOrder) {
    // For the thread sanitizer: the last read of a picture comes before it is written again.
    PictureRing ring(kSize);
    std::vector<std::jthread> readers;
    for (int i = 0; i < 200; ++i) {
        readers.emplace_back([picture = publish(ring, kAll, static_cast<uint8_t>(i)), i]() mutable {
            EXPECT_EQ(*planeAt(*picture, 0, 63, 47), static_cast<uint8_t>(i));
            picture.reset();
        });
        while (!ring.hasRoom()) std::this_thread::yield();
    }
}

TEST(PictureRing, PaintsBlack) {
    PictureRing ring(kSize);
    Picture& picture = ring.begin(DamageRegion(kAll));
    paint(picture, kAll, 200);
    paintBlack(picture, {0, 0, 64, 2});
    paintBlack(picture, {0, 0, 0, 48});
    EXPECT_EQ(*planeAt(picture, 0, 63, 1), 16);
    EXPECT_EQ(*planeAt(picture, 1, 63, 1), 128);
    EXPECT_EQ(*planeAt(picture, 2, 63, 1), 128);
    EXPECT_EQ(*planeAt(picture, 0, 0, 2), 200);
}

}  // namespace
}  // namespace quillon
