#include "platform/linux/x264_change_map.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

TEST(ChangeMapTest, CoversIncompleteMacroblocks) {
    const ChangeMap map(50, 34);
    EXPECT_EQ(map.columns(), 4);
    EXPECT_EQ(map.rows(), 3);
    EXPECT_EQ(map.changed(), 0);
}

TEST(ChangeMapTest, MarksWhatARectangleTouches) {
    ChangeMap map(64, 64);
    map.mark({15, 16, 2, 16});
    EXPECT_EQ(map.changed(), 2);
    EXPECT_TRUE(map.isChanged(0, 1));
    EXPECT_TRUE(map.isChanged(1, 1));
    EXPECT_FALSE(map.isChanged(0, 0));
    EXPECT_FALSE(map.isChanged(0, 2));
    map.mark({15, 16, 2, 16});
    EXPECT_EQ(map.changed(), 2);
}

TEST(ChangeMapTest, LeavesOutWhatLiesOutside) {
    ChangeMap map(64, 64);
    map.mark({-100, -100, 50, 50});
    map.mark({64, 0, 10, 10});
    map.mark({10, 10, 0, 5});
    EXPECT_EQ(map.changed(), 0);
    map.mark({-5, -5, 1000, 6});
    EXPECT_EQ(map.changed(), 4);
}

TEST(ChangeMapTest, MergesAndClears) {
    ChangeMap a(64, 64);
    ChangeMap b(64, 64);
    a.mark({0, 0, 16, 16});
    b.mark({0, 0, 32, 16});
    a.merge(b);
    EXPECT_EQ(a.changed(), 2);
    a.markAll();
    EXPECT_EQ(a.changed(), a.macroblocks());
    a.clear();
    EXPECT_EQ(a.changed(), 0);
}

TEST(ChangeMapTest, SpeaksTheEncodersLanguage) {
    ChangeMap map(32, 16);
    map.mark({16, 0, 1, 1});
    EXPECT_EQ(map.constancy()[0], 1);
    EXPECT_EQ(map.constancy()[1], 0);
}

}  // namespace
}  // namespace quillon
