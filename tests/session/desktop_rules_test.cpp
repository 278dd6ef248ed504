#include "session/desktop_rules.hpp"

#include <gmock/gmock.h>

#include <string>

namespace quillon {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

DisplayMode mode(int width, int height, int density, uint32_t token = 0) {
    return {width, height, width * density, height * density, token};
}

/// The sizes that the program's own virtual displays have, at the plain density.
std::vector<DisplayMode> builtInModes() {
    return {mode(2048, 1536, 1), mode(2732, 2048, 1), mode(2388, 1668, 1), mode(2048, 2732, 1),
            mode(1536, 2048, 1), mode(1668, 2388, 1), mode(1600, 1200, 1), mode(1024, 768, 1)};
}

std::optional<Size> following(const std::vector<DisplayMode>& modes, Size panel) {
    return resolutionFollowing(resolutionsFor(modes, panel), panel);
}

// --- modes

TEST(ModeFor, TwiceTheDensityIsPreferredWhereverItStands) {
    const std::vector<DisplayMode> modes = {mode(1024, 768, 1, 1), mode(800, 600, 2, 2),
                                            mode(1024, 768, 2, 3), mode(1024, 768, 2, 4)};
    EXPECT_EQ(modeFor(modes, {1024, 768})->token, 3U) << "the first of them";
}

TEST(ModeFor, ThePlainDensityIsTheSecondChoice) {
    const std::vector<DisplayMode> modes = {mode(1024, 768, 3, 1), mode(1366, 1024, 1, 2),
                                            mode(1366, 1024, 1, 3)};
    EXPECT_EQ(modeFor(modes, {1366, 1024})->token, 2U);
    EXPECT_EQ(modeFor(modes, {1024, 768}), std::nullopt) << "no other density will do";
    EXPECT_EQ(modeFor(modes, {768, 1024}), std::nullopt);
    EXPECT_EQ(modeFor({}, {1366, 1024}), std::nullopt);
}

// --- resolutions

TEST(ResolutionsFor, EachSizeOnceByWidthInTheSystemsOrder) {
    const std::vector<DisplayMode> modes = {mode(1600, 1200, 1), mode(1024, 768, 1), mode(1024, 1366, 1),
                                            mode(1024, 768, 2), mode(512, 384, 2)};
    EXPECT_THAT(resolutionsFor(modes, std::nullopt),
                ElementsAre(Size{512, 384}, Size{1024, 768}, Size{1024, 1366}, Size{1600, 1200}));
    EXPECT_THAT(resolutionsFor({}, std::nullopt), IsEmpty());
}

TEST(ResolutionsFor, APanelHasRoomForThoseThatFitItUprightOrLying) {
    EXPECT_THAT(resolutionsFor(builtInModes(), Size{2048, 1536}),
                ElementsAre(Size{1024, 768}, Size{1536, 2048}, Size{1600, 1200}, Size{2048, 1536}));
    EXPECT_EQ(resolutionsFor(builtInModes(), Size{1536, 2048}),
              resolutionsFor(builtInModes(), Size{2048, 1536}));
    EXPECT_EQ(resolutionsFor(builtInModes(), Size{2732, 2048}).size(), 8U);
    EXPECT_THAT(resolutionsFor(builtInModes(), Size{800, 600}), IsEmpty());
    EXPECT_THAT(resolutionsFor(builtInModes(), Size{4000, 767}), IsEmpty()) << "too narrow for all";
}

// --- following the panel

TEST(ResolutionFollowing, TheNearestShapeThenTheLargest) {
    struct Case {
        Size panel;
        Size desktop;
    };
    const Case cases[] = {
        {{2732, 2048}, {2048, 1536}}, {{2048, 2732}, {1536, 2048}}, {{2388, 1668}, {1600, 1200}},
        {{1668, 2388}, {1600, 1200}}, {{2048, 1536}, {1600, 1200}}, {{1536, 2048}, {1600, 1200}},
        {{1920, 1080}, {1024, 768}},
    };
    for (const auto& [panel, desktop] : cases) {
        EXPECT_EQ(following(builtInModes(), panel), desktop) << sizeText(panel);
    }
}

TEST(ResolutionFollowing, AFifthOfThePanelsLongerSideStaysFreeWherePossible) {
    // 0.8 x 2732 is 2185.6.
    EXPECT_EQ(resolutionFollowing({{2185, 1638}, {2186, 1639}, {2732, 2048}}, {2732, 2048}),
              (Size{2185, 1638}));
    EXPECT_EQ(resolutionFollowing({{2186, 1639}, {2732, 2048}}, {2732, 2048}), (Size{2732, 2048}))
        << "none leaves it: all are considered";
    EXPECT_EQ(resolutionFollowing({{800, 800}, {2000, 1500}}, {2000, 1500}), (Size{800, 800}))
        << "whatever its shape";
}

TEST(ResolutionFollowing, OfEquallyNearShapesTheLargest) {
    EXPECT_EQ(resolutionFollowing({{800, 600}, {1600, 1200}, {1024, 768}}, {2732, 2048}), (Size{1600, 1200}));
}

TEST(ResolutionFollowing, WhatDoesNotFitIsNoCandidate) {
    EXPECT_EQ(resolutionFollowing({{2000, 1500}}, {1024, 768}), std::nullopt);
    EXPECT_EQ(resolutionFollowing({}, {1024, 768}), std::nullopt);
    EXPECT_EQ(resolutionFollowing({{100, 100}}, {0, 0}), std::nullopt);
}

// --- the place

TEST(OriginBeside, EachSideAndTheRightForAnythingElse) {
    const Rect main{0, 0, 1920, 1080};
    const Size size{1024, 768};
    EXPECT_EQ(originBeside(main, "left", size), (Point{-1024, 0}));
    EXPECT_EQ(originBeside(main, "above", size), (Point{0, -768}));
    EXPECT_EQ(originBeside(main, "below", size), (Point{0, 1080}));
    for (const std::string other : {"right", "", "Left", "elsewhere"}) {
        EXPECT_EQ(originBeside(main, other, size), (Point{1920, 0})) << other;
    }
}

// --- scaling

TEST(AutomaticScaling, FillsWhenShapesDifferByMoreThanAQuarter) {
    EXPECT_EQ(automaticScaling({2048, 2732}, {1600, 1000}), Scaling::fill) << "by about 0.53";
    EXPECT_EQ(automaticScaling({2048, 1536}, {1600, 1000}), Scaling::fit) << "by about 0.17";
    EXPECT_EQ(automaticScaling({2000, 1000}, {1600, 1000}), Scaling::fit) << "by exactly 0.25";
    EXPECT_EQ(automaticScaling({2001, 1000}, {1600, 1000}), Scaling::fill);
}

TEST(AutomaticScaling, NeedsFourPositiveNumbers) {
    EXPECT_EQ(automaticScaling({0, 1536}, {1600, 1000}), std::nullopt);
    EXPECT_EQ(automaticScaling({2048, -1}, {1600, 1000}), std::nullopt);
    EXPECT_EQ(automaticScaling({2048, 1536}, {1600, -1}), std::nullopt);
    EXPECT_EQ(automaticScaling({2048, 1536}, {0, 1000}), std::nullopt);
}

}  // namespace
}  // namespace quillon
