#pragma once

#include "platform/displays.hpp"

namespace quillon {

/// CoreGraphics' display services.
class MacDisplays : public Displays {
  public:
    std::vector<DisplayID> active() override;
    DisplayID main() override;
    Rect bounds(DisplayID display) override;
    Identity identity(DisplayID display) override;
    std::vector<DisplayMode> modes(DisplayID display) override;
    std::optional<DisplayMode> currentMode(DisplayID display) override;
    bool setMode(DisplayID display, const DisplayMode& mode) override;
    Mirroring mirroring(DisplayID display) override;
    bool stopMirroring(DisplayID display) override;
    bool setOrigin(DisplayID display, int x, int y) override;
};

}  // namespace quillon
