#include "media/pattern_source.hpp"

#include <cinttypes>
#include <cmath>
#include <numbers>

#include "base/text.hpp"

namespace quillon {

namespace {

using Color = PatternCanvas::Color;

constexpr int kBars = 12;
constexpr int64_t kRippleFrames = 120;
constexpr int64_t kSweepFrames = 60;

}  // namespace

PatternSource::PatternSource(PatternCanvases& canvases, const RunLoop& loop, int width, int height)
    : canvases_(canvases), loop_(loop), width_(width), height_(height), startDate_(loop.now()) {}

PicturePtr PatternSource::makePixelBuffer() {
    const auto canvas = canvases_.make(width_, height_);
    if (!canvas) return nullptr;
    draw(*canvas);
    ++frameIndex_;
    return canvas->finish();
}

void PatternSource::draw(PatternCanvas& canvas) const {
    const double width = width_;
    const double height = height_;
    canvas.fillRectangle(0, 0, width, height, Color{0.05, 0.06, 0.10});

    const double ripple = static_cast<double>(frameIndex_ % kRippleFrames) / kRippleFrames;
    const double barWidth = width / kBars;
    for (int i = 0; i < kBars; ++i) {
        const double wave = std::abs(std::sin((ripple + 1.0 * i / kBars) * std::numbers::pi));
        const double blue = (wave * 0.25 + 0.12) * 0.2 + 0.55;
        canvas.fillRectangle(barWidth * i, height * 0.62, barWidth - 2, height * 0.3,
                             Color{0.15, 0.30, blue, 0.55});
    }

    const double sweep = static_cast<double>(frameIndex_ % kSweepFrames) / kSweepFrames;
    const double place = sweep < 0.5 ? sweep : 1 - sweep;
    const double side = height * 0.08;
    canvas.fillEllipse(width * 0.1 + width * 0.8 * 2 * place, height * 0.12, side, side,
                       Color{0.35, 0.85, 0.60});

    canvas.strokeRectangle(3, 3, width - 6, height - 6, 6, Color{0.90, 0.35, 0.45});
    drawText(canvas);
}

void PatternSource::drawText(PatternCanvas& canvas) const {
    const double height = height_;
    canvas.drawText(canvases_.wallClock(), 60, height * 0.6, height * 0.11, PatternCanvas::Weight::bold,
                    Color{1, 1, 1});
    const std::string status = formatted("frame %06" PRId64 "   %.1fs   %dx%d", frameIndex_,
                                         toSeconds(loop_.now() - startDate_), width_, height_);
    canvas.drawText(status, 60, height * 0.5, height * 0.04, PatternCanvas::Weight::medium,
                    Color{0.75, 0.75, 0.75});
}

}  // namespace quillon
