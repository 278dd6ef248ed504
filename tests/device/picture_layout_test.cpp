#include "device/picture_layout.hpp"

#include <gtest/gtest.h>

#include "transport/wire_protocol.hpp"

namespace quillon::device {
namespace {

constexpr Size kPanel{2048, 1536};

TEST(SettingsLine, ReadsWhatHostsWrite) {
    for (const bool mirror : {false, true}) {
        for (const auto& scaling : kScalings) {
            for (const auto& quality : kStreamQualities) {
                const std::string line =
                    wire::settingsLine({mirror, {1366, 1024}, mirror ? 0 : 3, quality.value, scaling.value});
                const SettingsLine settings = parseSettingsLine(line);
                EXPECT_EQ(settings.scaling, scaling.value) << line;
                EXPECT_EQ(settings.display, mirror ? std::nullopt : std::optional<Size>({1366, 1024}))
                    << line;
            }
        }
    }
}

TEST(SettingsLine, TakesTheInitialValuesFromNonsense) {
    for (const char* line : {"", " | ", "×", "1024× | Fit", "×768", "0×0 | Fit", "1024x768 | fill", "\xC3"}) {
        EXPECT_EQ(parseSettingsLine(line), SettingsLine()) << line;
    }
}

void expectPlace(Point place, double x, double y) {
    EXPECT_NEAR(place.x, x, 1e-9);
    EXPECT_NEAR(place.y, y, 1e-9);
}

TEST(PictureLayout, EqualShapesNeedNoConversion) {
    for (const auto& scaling : kScalings) {
        const PictureLayout layout({1024, 768}, kPanel, scaling.value);
        expectPlace(layout.displayAt({0.25, 0.75}), 0.25, 0.75);
    }
}

TEST(PictureLayout, BarsLieOutsideTheDisplay) {
    const PictureLayout layout({1600, 1000}, kPanel, Scaling::fit);  // 16:10 in 4:3: 5/6 of the height
    expectPlace(layout.displayAt({0, 1.0 / 12}), 0, 0);
    expectPlace(layout.displayAt({1, 11.0 / 12}), 1, 1);
    EXPECT_LT(layout.displayAt({0.5, 0.05}).y, 0);
    expectPlace(layout.pictureAt({0.5, 1}), 0.5, 11.0 / 12);
}

TEST(PictureLayout, BarsAtTheSidesOfATallDisplay) {
    const PictureLayout layout({1000, 1600}, kPanel, Scaling::fit);
    const double share = 0.625 / (4.0 / 3);
    expectPlace(layout.displayAt({0.5 - share / 2, 0}), 0, 0);
}

TEST(PictureLayout, CroppedEdgesLieOutsideThePicture) {
    const PictureLayout layout({1920, 1080}, kPanel, Scaling::fill);  // 1440 of 1920 columns, from 240 on
    expectPlace(layout.displayAt({0, 0}), 240.0 / 1920, 0);
    expectPlace(layout.displayAt({1, 1}), 1680.0 / 1920, 1);
    EXPECT_LT(layout.pictureAt({0, 0.5}).x, 0);
}

TEST(PictureLayout, FillOfNearlyTheSameShapeIsFit) {
    const Size display{1366, 1024};  // 1.3340 against 1.3333
    const PictureLayout fill(display, kPanel, Scaling::fill);
    const PictureLayout fit(display, kPanel, Scaling::fit);
    EXPECT_EQ(fill.displayAt({0, 0}), fit.displayAt({0, 0}));
}

TEST(PictureLayout, StretchIgnoresTheShape) {
    expectPlace(PictureLayout({1920, 1080}, kPanel, Scaling::stretch).displayAt({0.1, 0.9}), 0.1, 0.9);
}

TEST(PictureLayout, BothDirectionsAgree) {
    for (const auto& scaling : kScalings) {
        const PictureLayout layout({1600, 1000}, {1536, 2048}, scaling.value);
        const Point place{0.3, 0.6};
        expectPlace(layout.displayAt(layout.pictureAt(place)), 0.3, 0.6);
    }
}

}  // namespace
}  // namespace quillon::device
