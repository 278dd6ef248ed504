#include "base/log.hpp"
#include "session/desktop_rules.hpp"
#include "session/session.hpp"

// The session and the desktop of its virtual display: the resolution the user chooses, the one that follows
// the panel, and the display's place.

namespace quillon {

std::vector<Size> Session::availableResolutions() const {
    const DisplayID display = desktop_.virtualDisplayID();
    if (display == 0) return {};
    return arrangement_.availableResolutions(display, panelPixels_);
}

void Session::setResolution(int width, int height) {
    const DisplayID display = desktop_.virtualDisplayID();
    if (display == 0) return;
    const Size size{width, height};
    const auto mode = arrangement_.modeOfSize(display, size);
    if (!mode) {
        Log::write("resolution " + sizeText(size) + " not offered");
        return;
    }
    config_.virtualWidth = width;
    config_.virtualHeight = height;
    background_.start(changeMode(display, *mode));
    Log::write("resolution set to " + sizeText(size) + " (capture " + std::to_string(config_.width) + "x" +
               std::to_string(config_.height) + ")");
    sendSettingsLine();
}

Task<> Session::changeMode(DisplayID display, DisplayMode mode) {
    const bool changed = co_await arrangement_.setMode(display, mode);
    if (!changed || config_.mirror) co_return;
    co_await arrangement_.place(display, config_.position, config_.virtualSize());
}

}  // namespace quillon
