#include "platform/linux/x11_layout.hpp"

#include <gtest/gtest.h>

#include <array>

namespace quillon::testing {
namespace {

constexpr uint32_t kMain = 1;
constexpr uint32_t kSecond = 2;
constexpr PixelRect kMainPlace{0, 0, 1920, 1080};

X11Crtc showing(uint32_t id, const PixelRect& place, std::vector<uint32_t> outputs) {
    return {id, place, 100 + id, 1, std::move(outputs)};
}

TEST(X11LayoutTest, SettlesWithTheFirstCornerAtTheOrigin) {
    X11Layout layout{{showing(11, kMainPlace, {kMain}), showing(12, {-800, -100, 800, 600}, {kSecond}), {13}},
                     {1920, 1080},
                     {508, 286}};
    layout.settle();
    EXPECT_EQ(layout.crtcs[0].place, (PixelRect{800, 100, 1920, 1080}));
    EXPECT_EQ(layout.crtcs[1].place, (PixelRect{0, 0, 800, 600}));
    EXPECT_EQ(layout.crtcs[2], X11Crtc{13});
    EXPECT_EQ(layout.size, (Size{2720, 1180}));
    EXPECT_EQ(layout.millimetres, (Size{720, 312})) << "as many pixels a millimetre as before";
}

TEST(X11LayoutTest, ClosesAGapAtTheOrigin) {
    X11Layout layout{{showing(11, {800, 600, 1920, 1080}, {kMain})}, {2720, 1680}, {720, 445}};
    layout.settle();
    EXPECT_EQ(layout.crtcs[0].place, kMainPlace);
    EXPECT_EQ(layout.size, (Size{1920, 1080}));
}

TEST(X11LayoutTest, AScreenThatShowsNothingKeepsItsSize) {
    X11Layout layout{{{11}, {12}}, {1920, 1080}, {508, 286}};
    layout.settle();
    EXPECT_EQ(layout.size, (Size{1920, 1080}));
    EXPECT_EQ(layout.millimetres, (Size{508, 286}));
}

TEST(X11LayoutTest, TurningOffFreesTheCrtcOfTheLastOutput) {
    X11Layout layout{{showing(11, kMainPlace, {kMain, kSecond})}, {1920, 1080}, {508, 286}};
    layout.turnOff(kSecond);
    EXPECT_EQ(layout.crtcs[0], showing(11, kMainPlace, {kMain}));
    layout.turnOff(kSecond);
    EXPECT_TRUE(layout.crtcs[0].isActive());
    layout.turnOff(kMain);
    EXPECT_EQ(layout.crtcs[0], X11Crtc{11});
}

TEST(X11LayoutTest, SeparatesAnOutputFromTheCrtcThatItShares) {
    X11Layout layout{{showing(11, kMainPlace, {kMain, kSecond}), {12}, {13}}, {1920, 1080}, {508, 286}};
    EXPECT_FALSE(layout.separate(kSecond, std::array{11u})) << "nothing free that it can use";
    EXPECT_FALSE(layout.separate(4711, std::array{11u, 13u})) << "off";
    ASSERT_TRUE(layout.separate(kSecond, std::array{11u, 13u}));
    EXPECT_EQ(layout.crtcs[0].outputs, std::vector{kMain});
    EXPECT_FALSE(layout.crtcs[1].isActive());
    EXPECT_EQ(layout.crtcs[2], (X11Crtc{13, kMainPlace, 111, 1, {kSecond}}));
    ASSERT_TRUE(layout.separate(kSecond, std::array{12u})) << "has one of its own";
    EXPECT_FALSE(layout.crtcs[1].isActive());
}

TEST(X11LayoutTest, TheEdgesThatFaceTheMainDisplayStay) {
    struct Row {
        const char* side;
        PixelRect before, after;
    };
    const Row rows[] = {{"right", {1920, 0, 800, 600}, {1920, 0, 1024, 768}},
                        {"left", {-800, 0, 800, 600}, {-1024, 0, 1024, 768}},
                        {"above", {0, -600, 800, 600}, {0, -768, 1024, 768}},
                        {"below", {0, 1080, 800, 600}, {0, 1080, 1024, 768}},
                        {"over it", {10, 10, 800, 600}, {10, 10, 1024, 768}}};
    for (const Row& row : rows)
        EXPECT_EQ(resized(row.before, {1024, 768}, kMainPlace), row.after) << row.side;
}

TEST(X11LayoutTest, PushesADisplayOffTheOthers) {
    const std::array others{PixelRect{1920, 0, 1000, 1000}, PixelRect{2920, 0, 1000, 1000},
                            PixelRect{-500, 0, 500, 500}};
    struct Row {
        const char* what;
        PixelRect wanted, place;
    };
    const Row rows[] = {
        {"right, past two neighbours", {1920, 0, 800, 600}, {3920, 0, 800, 600}},
        {"right, below the neighbours", {1920, 1000, 800, 600}, {1920, 1000, 800, 600}},
        {"left", {-800, 0, 800, 600}, {-1300, 0, 800, 600}},
        {"above, wider than the main display", {0, -600, 2500, 600}, {0, -600, 2500, 600}},
        {"below", {0, 1080, 800, 600}, {0, 1080, 800, 600}},
        {"on the main display", {0, 0, 1920, 1080}, {3920, 0, 1920, 1080}},
        {"far away", {9000, 9000, 10, 10}, {9000, 9000, 10, 10}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(clearOfOthers(row.wanted, kMainPlace, others), row.place) << row.what;
}

TEST(X11LayoutTest, WithoutAMainDisplayTheFirstPlaceIsTheOrigin) {
    EXPECT_EQ(clearOfOthers({0, 0, 800, 600}, {}, {}), (PixelRect{0, 0, 800, 600}));
}

}  // namespace
}  // namespace quillon::testing
