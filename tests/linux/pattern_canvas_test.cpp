#include "platform/linux/pattern_canvas.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <regex>

#include "media/pattern_source.hpp"
#include "platform/linux/run_loop.hpp"

namespace quillon {
namespace {

using Color = PatternCanvas::Color;
using Weight = PatternCanvas::Weight;

/// Red, green, blue from 0 to 255.
struct Pixel {
    int red;
    int green;
    int blue;
};

/// Counted as the canvas counts: from the bottom left corner.
Pixel pixelAt(const Picture& picture, int x, int y) {
    const uint8_t* at = picture.planes[0].data + (picture.height - 1 - y) * picture.planes[0].stride + x * 4;
    return {at[2], at[1], at[0]};
}

void expectPixel(const Picture& picture, int x, int y, Color color) {
    const Pixel pixel = pixelAt(picture, x, y);
    EXPECT_NEAR(pixel.red, color.red * 255, 1.5) << x << "," << y;
    EXPECT_NEAR(pixel.green, color.green * 255, 1.5) << x << "," << y;
    EXPECT_NEAR(pixel.blue, color.blue * 255, 1.5) << x << "," << y;
}

/// The smallest rectangle, from the bottom left, that holds every pixel brighter than half; empty if none.
PixelRect brightBox(const Picture& picture) {
    int left = picture.width, bottom = picture.height, right = 0, top = 0;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            if (pixelAt(picture, x, y).green < 128) continue;
            left = std::min(left, x);
            right = std::max(right, x + 1);
            bottom = std::min(bottom, y);
            top = std::max(top, y + 1);
        }
    }
    return right > left ? PixelRect{left, bottom, right - left, top - bottom} : PixelRect{};
}

class PatternCanvasTest : public testing::Test {
  protected:
    PicturePtr textPicture(const std::string& text, Weight weight = Weight::bold, double size = 60) {
        auto canvas = canvases.make(600, 200);
        canvas->fillRectangle(0, 0, 600, 200, {0, 0, 0});
        canvas->drawText(text, 50, 100, size, weight, {1, 1, 1});
        return canvas->finish();
    }

    CairoPatternCanvases canvases;
};

TEST_F(PatternCanvasTest, EmptyAndImpossibleSizesGiveNoCanvas) {
    for (const Size size : {Size{0, 1}, Size{1, 0}, Size{-5, 5}, Size{1 << 20, 1 << 20}}) {
        EXPECT_EQ(canvases.make(size.width, size.height), nullptr);
    }
}

TEST_F(PatternCanvasTest, APictureIsWholeAndOfTheSizeAskedFor) {
    const auto picture = canvases.make(33, 17)->finish();
    EXPECT_EQ(picture->format, Picture::Format::bgra);
    EXPECT_EQ(picture->width, 33);
    EXPECT_EQ(picture->height, 17);
    EXPECT_GE(picture->planes[0].stride, 33 * 4);
    EXPECT_EQ(picture->sequence, 0u);
    EXPECT_NE(picture->memory, nullptr);
}

TEST_F(PatternCanvasTest, RectanglesStandOnTheBottomLeftOrigin) {
    auto canvas = canvases.make(40, 30);
    canvas->fillRectangle(0, 0, 40, 30, {0, 0, 0});
    canvas->fillRectangle(10, 5, 20, 8, {1, 0.5, 0.25});
    const auto picture = canvas->finish();
    expectPixel(*picture, 10, 5, {1, 0.5, 0.25});
    expectPixel(*picture, 29, 12, {1, 0.5, 0.25});
    expectPixel(*picture, 9, 5, {0, 0, 0});
    expectPixel(*picture, 30, 12, {0, 0, 0});
    expectPixel(*picture, 10, 4, {0, 0, 0});
    expectPixel(*picture, 29, 13, {0, 0, 0});
}

TEST_F(PatternCanvasTest, AlphaMixesWithWhatIsThere) {
    auto canvas = canvases.make(4, 4);
    canvas->fillRectangle(0, 0, 4, 4, {0, 0, 1});
    canvas->fillRectangle(0, 0, 4, 4, {1, 0, 0, 0.25});
    expectPixel(*canvas->finish(), 2, 2, {0.25, 0, 0.75});
}

TEST_F(PatternCanvasTest, AnEllipseFillsItsSquareUpToTheEdges) {
    auto canvas = canvases.make(100, 100);
    canvas->fillRectangle(0, 0, 100, 100, {0, 0, 0});
    canvas->fillEllipse(20, 10, 40, 60, {1, 1, 1});
    const auto picture = canvas->finish();
    EXPECT_EQ(brightBox(*picture), (PixelRect{20, 10, 40, 60}));
    expectPixel(*picture, 40, 40, {1, 1, 1});
    expectPixel(*picture, 21, 11, {0, 0, 0});
    expectPixel(*picture, 58, 68, {0, 0, 0});
}

TEST_F(PatternCanvasTest, AStrokeLiesHalfOnEachSideOfItsRectangle) {
    auto canvas = canvases.make(60, 50);
    canvas->fillRectangle(0, 0, 60, 50, {0, 0, 0});
    canvas->strokeRectangle(3, 3, 54, 44, 6, {1, 1, 1});
    const auto picture = canvas->finish();
    for (const auto& [x, y] : {std::pair{0, 0}, {5, 25}, {54, 25}, {30, 5}, {30, 44}, {59, 49}}) {
        expectPixel(*picture, x, y, {1, 1, 1});
    }
    for (const auto& [x, y] : {std::pair{6, 6}, {53, 43}, {30, 25}}) expectPixel(*picture, x, y, {0, 0, 0});
}

TEST_F(PatternCanvasTest, TextStandsUprightAboveItsCorner) {
    const PixelRect box = brightBox(*textPicture("L"));
    ASSERT_FALSE(box.isEmpty());
    EXPECT_GE(box.x, 50);
    EXPECT_LE(box.x, 50 + 15);
    EXPECT_GE(box.y, 100);
    EXPECT_LE(box.bottom(), 100 + 75);
    EXPECT_GE(box.height, 30);
    // The foot of an L is its widest part and lies at the bottom.
    const auto picture = textPicture("L");
    const int right = box.right() - 3;
    EXPECT_GE(pixelAt(*picture, right, box.y + 2).green, 128);
    EXPECT_LT(pixelAt(*picture, right, box.bottom() - 3).green, 128);
}

TEST_F(PatternCanvasTest, AllDigitsAreEquallyWide) {
    // The stroke at the end shows where the digits before it end.
    const auto end = [this](Weight weight, char digit) {
        return brightBox(*textPicture(std::string(4, digit) + "|", weight)).right();
    };
    for (const Weight weight : {Weight::medium, Weight::bold}) {
        for (char digit = '1'; digit <= '9'; ++digit)
            EXPECT_EQ(end(weight, digit), end(weight, '0')) << digit;
    }
}

TEST_F(PatternCanvasTest, BoldIsHeavierThanMedium) {
    const auto ink = [](const Picture& picture) {
        int count = 0;
        for (int y = 0; y < picture.height; ++y) {
            for (int x = 0; x < picture.width; ++x) count += pixelAt(picture, x, y).green >= 128;
        }
        return count;
    };
    EXPECT_GT(ink(*textPicture("8888", Weight::bold)), ink(*textPicture("8888", Weight::medium)));
}

TEST_F(PatternCanvasTest, TextThatIsNotUtf8IsNoHarm) {
    EXPECT_NE(textPicture("a\xff\xfe"), nullptr);
    EXPECT_NE(textPicture(""), nullptr);
}

TEST_F(PatternCanvasTest, WallClockHasMilliseconds) {
    const std::string clock = canvases.wallClock();
    EXPECT_TRUE(std::regex_match(clock, std::regex(R"(\d\d:\d\d:\d\d\.\d{3})"))) << clock;
}

TEST_F(PatternCanvasTest, AWholePatternFrame) {
    LinuxRunLoop loop;
    PatternSource source(canvases, loop, 1200, 900);
    const auto picture = source.makePixelBuffer();
    ASSERT_NE(picture, nullptr);
    const Color background{0.05, 0.06, 0.10};

    expectPixel(*picture, 1, 1, {0.90, 0.35, 0.45});
    expectPixel(*picture, 1198, 898, {0.90, 0.35, 0.45});
    expectPixel(*picture, 8, 8, background);
    expectPixel(*picture, 600, 860, background);

    // The gap between the first two bars, and the sixth bar's mixed colour (its wave is at the top).
    expectPixel(*picture, 99, 800, background);
    const auto mixed = [](double over, double under) { return over * 0.55 + under * 0.45; };
    const double blue = (1 * 0.25 + 0.12) * 0.2 + 0.55;
    expectPixel(*picture, 650, 800, {mixed(0.15, 0.05), mixed(0.30, 0.06), mixed(blue, 0.10)});

    // The dot at the left end of its path.
    expectPixel(*picture, 120 + 36, 108 + 36, {0.35, 0.85, 0.60});
    expectPixel(*picture, 122, 110, background);

    // Both lines of text.
    const auto brightPixels = [&](int bottom, int top) {
        int count = 0;
        for (int y = bottom; y < top; ++y) {
            for (int x = 60; x < 900; ++x) count += pixelAt(*picture, x, y).green >= 170;
        }
        return count;
    };
    EXPECT_GT(brightPixels(540, 660), 5000);
    EXPECT_GT(brightPixels(450, 500), 500);
}

}  // namespace
}  // namespace quillon
