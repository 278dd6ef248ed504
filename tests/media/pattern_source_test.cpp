#include "media/pattern_source.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <optional>
#include <vector>

#include "platform/simulated/run_loop.hpp"

namespace quillon {
namespace {

using Color = PatternCanvas::Color;
using Weight = PatternCanvas::Weight;

/// One call of a canvas, with its numbers in the order of the call's parameters.
struct Stroke {
    enum class Kind { rectangle, ellipse, outline, text } kind;
    std::vector<double> numbers;
    Color color;
    std::string text{};
    std::optional<Weight> weight{};
};

class RecordingCanvases : public PatternCanvases {
  public:
    std::vector<Stroke> strokes;  ///< of the newest canvas
    std::string clock = "23:59:58.007";
    bool fails = false;

    std::unique_ptr<PatternCanvas> make(int width, int height) override {
        if (fails || width <= 0 || height <= 0) return nullptr;
        strokes.clear();
        return std::make_unique<Canvas>(strokes, width, height);
    }
    std::string wallClock() override { return clock; }

  private:
    class Canvas : public PatternCanvas {
      public:
        Canvas(std::vector<Stroke>& strokes, int width, int height) : strokes_(strokes) {
            picture_->width = width;
            picture_->height = height;
        }
        void fillRectangle(double x, double y, double width, double height, Color color) override {
            strokes_.push_back({Stroke::Kind::rectangle, {x, y, width, height}, color});
        }
        void fillEllipse(double x, double y, double width, double height, Color color) override {
            strokes_.push_back({Stroke::Kind::ellipse, {x, y, width, height}, color});
        }
        void strokeRectangle(double x, double y, double width, double height, double lineWidth,
                             Color color) override {
            strokes_.push_back({Stroke::Kind::outline, {x, y, width, height, lineWidth}, color});
        }
        void drawText(const std::string& text, double x, double y, double size, Weight weight,
                      Color color) override {
            strokes_.push_back({Stroke::Kind::text, {x, y, size}, color, text, weight});
        }
        PicturePtr finish() override { return picture_; }

      private:
        std::vector<Stroke>& strokes_;
        std::shared_ptr<Picture> picture_ = std::make_shared<Picture>();
    };
};

void expectNear(const std::vector<double>& actual, const std::vector<double>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < actual.size(); ++i) EXPECT_NEAR(actual[i], expected[i], 1e-9) << "number " << i;
}

void expectColor(Color actual, Color expected) {
    expectNear({actual.red, actual.green, actual.blue, actual.alpha},
               {expected.red, expected.green, expected.blue, expected.alpha});
}

class PatternSourceTest : public testing::Test {
  protected:
    // The strokes of a frame in their order.
    static constexpr size_t kBackground = 0;
    static constexpr size_t kFirstBar = 1;
    static constexpr size_t kDot = 13;
    static constexpr size_t kBorder = 14;
    static constexpr size_t kClock = 15;
    static constexpr size_t kStatus = 16;
    static constexpr size_t kStrokes = 17;

    /// Renders frames until the newest is number `index` of the source.
    const std::vector<Stroke>& frame(int index) {
        while (rendered_ <= index) {
            EXPECT_NE(source.makePixelBuffer(), nullptr);
            ++rendered_;
        }
        return canvases.strokes;
    }

    double dotX(int index) { return frame(index)[kDot].numbers[0]; }
    std::vector<double> barBlues(int index) {
        std::vector<double> blues;
        for (size_t i = 0; i < 12; ++i) blues.push_back(frame(index)[kFirstBar + i].color.blue);
        return blues;
    }

    simulated::Machine machine;
    simulated::SimulatedRunLoop loop{machine};
    RecordingCanvases canvases;
    PatternSource source{canvases, loop, 1200, 1000};

  private:
    int rendered_ = 0;
};

TEST_F(PatternSourceTest, TheFirstFrame) {
    const auto picture = source.makePixelBuffer();
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->width, 1200);
    EXPECT_EQ(picture->height, 1000);
    const auto& strokes = canvases.strokes;
    ASSERT_EQ(strokes.size(), kStrokes);

    EXPECT_EQ(strokes[kBackground].kind, Stroke::Kind::rectangle);
    expectNear(strokes[kBackground].numbers, {0, 0, 1200, 1000});
    expectColor(strokes[kBackground].color, {0.05, 0.06, 0.10, 1});

    for (size_t i = 0; i < 12; ++i) {
        const Stroke& bar = strokes[kFirstBar + i];
        EXPECT_EQ(bar.kind, Stroke::Kind::rectangle);
        expectNear(bar.numbers, {100.0 * static_cast<double>(i), 620, 98, 300});
        const double wave = std::abs(std::sin(static_cast<double>(i) / 12 * std::numbers::pi));
        expectColor(bar.color, {0.15, 0.30, (wave * 0.25 + 0.12) * 0.2 + 0.55, 0.55});
    }

    EXPECT_EQ(strokes[kDot].kind, Stroke::Kind::ellipse);
    expectNear(strokes[kDot].numbers, {120, 120, 80, 80});
    expectColor(strokes[kDot].color, {0.35, 0.85, 0.60, 1});

    EXPECT_EQ(strokes[kBorder].kind, Stroke::Kind::outline);
    expectNear(strokes[kBorder].numbers, {3, 3, 1194, 994, 6});
    expectColor(strokes[kBorder].color, {0.90, 0.35, 0.45, 1});

    EXPECT_EQ(strokes[kClock].text, "23:59:58.007");
    EXPECT_EQ(strokes[kClock].weight, Weight::bold);
    expectNear(strokes[kClock].numbers, {60, 600, 110});
    expectColor(strokes[kClock].color, {1, 1, 1, 1});

    EXPECT_EQ(strokes[kStatus].text, "frame 000000   0.0s   1200x1000");
    EXPECT_EQ(strokes[kStatus].weight, Weight::medium);
    expectNear(strokes[kStatus].numbers, {60, 500, 40});
    expectColor(strokes[kStatus].color, {0.75, 0.75, 0.75, 1});
}

TEST_F(PatternSourceTest, BarsRepeatAfter120Frames) {
    const auto first = barBlues(0);
    const auto second = barBlues(1);
    EXPECT_NE(first, second);
    EXPECT_NE(barBlues(60), first);
    EXPECT_EQ(barBlues(120), first);
    EXPECT_EQ(barBlues(121), second);
}

TEST_F(PatternSourceTest, TheWaveTravelsOneBarInTenFrames) {
    const auto first = barBlues(0);
    const auto later = barBlues(10);
    for (size_t i = 0; i + 1 < first.size(); ++i) EXPECT_NEAR(later[i], first[i + 1], 1e-9);
}

TEST_F(PatternSourceTest, TheDotSweepsToAndFroIn60Frames) {
    EXPECT_NEAR(dotX(0), 120, 1e-9);
    EXPECT_NEAR(dotX(15), 600, 1e-9);
    EXPECT_NEAR(dotX(29), 120 + 960.0 * 29 / 30, 1e-9);
    EXPECT_NEAR(dotX(30), 1080, 1e-9);
    EXPECT_NEAR(dotX(31), 120 + 960.0 * 29 / 30, 1e-9);
    EXPECT_NEAR(dotX(45), 600, 1e-9);
    EXPECT_NEAR(dotX(60), 120, 1e-9);
}

TEST_F(PatternSourceTest, TheStatusLineCountsFramesAndTime) {
    frame(0);
    loop.runFor(12345ms);
    EXPECT_EQ(frame(1)[kStatus].text, "frame 000001   12.3s   1200x1000");
    EXPECT_EQ(frame(42)[kStatus].text, "frame 000042   12.3s   1200x1000");
}

TEST_F(PatternSourceTest, TheClockIsReadForEachFrame) {
    frame(0);
    canvases.clock = "00:00:00.000";
    EXPECT_EQ(frame(1)[kClock].text, "00:00:00.000");
}

TEST_F(PatternSourceTest, AFrameWithoutCanvasIsNotCounted) {
    canvases.fails = true;
    EXPECT_EQ(source.makePixelBuffer(), nullptr);
    canvases.fails = false;
    EXPECT_EQ(frame(0)[kStatus].text, "frame 000000   0.0s   1200x1000");
}

TEST_F(PatternSourceTest, AnEmptySizeGivesNoFrame) {
    for (const Size size : {Size{0, 100}, Size{100, 0}, Size{0, 0}, Size{-1, 100}}) {
        PatternSource empty(canvases, loop, size.width, size.height);
        EXPECT_EQ(empty.makePixelBuffer(), nullptr);
    }
}

}  // namespace
}  // namespace quillon
