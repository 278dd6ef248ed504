#pragma once

#include <cstdint>

#include "platform/pattern_canvas.hpp"
#include "platform/run_loop.hpp"

namespace quillon {

/// A synthetic stream for trying the link and the encoder without a display: bars whose brightness
/// ripples over 120 frames, a dot that sweeps to and fro in 60, a border, a clock and a status line.
/// One thread at a time.
class PatternSource {
  public:
    /// `canvases` and `loop` outlive it. Width and height in pixels.
    PatternSource(PatternCanvases& canvases, const RunLoop& loop, int width, int height);

    /// The next frame; null when no canvas can be had, and then no frame is counted.
    PicturePtr makePixelBuffer();

  private:
    void draw(PatternCanvas& canvas) const;
    void drawText(PatternCanvas& canvas) const;

    PatternCanvases& canvases_;
    const RunLoop& loop_;
    const int width_;
    const int height_;
    const Instant startDate_;
    int64_t frameIndex_ = 0;
};

}  // namespace quillon
