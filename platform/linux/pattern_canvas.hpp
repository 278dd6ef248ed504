#pragma once

#include "platform/pattern_canvas.hpp"

namespace quillon {

/// Canvases of Cairo and Pango, which come in a module that is loaded for the first of them. They need no
/// display server. Any thread, each canvas one at a time.
class CairoPatternCanvases : public PatternCanvases {
  public:
    std::unique_ptr<PatternCanvas> make(int width, int height) override;
    std::string wallClock() override;
};

}  // namespace quillon
