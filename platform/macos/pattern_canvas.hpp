#pragma once

#include "platform/pattern_canvas.hpp"

namespace quillon {

/// Canvases of CoreGraphics on pixel buffers that the encoder takes as they are; text by AppKit. Main thread.
class MacPatternCanvases : public PatternCanvases {
  public:
    std::unique_ptr<PatternCanvas> make(int width, int height) override;
    std::string wallClock() override;
};

}  // namespace quillon
