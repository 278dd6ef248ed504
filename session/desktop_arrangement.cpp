#include "session/desktop_arrangement.hpp"

#include <algorithm>

#include "base/log.hpp"
#include "base/text.hpp"
#include "session/desktop_rules.hpp"

namespace quillon {

namespace {

constexpr Duration kEnforcementInterval = 2s;

int toCoordinate(double value) {
    constexpr double kFarthest = 1 << 30;
    return static_cast<int>(std::clamp(value, -kFarthest, kFarthest));
}

std::string rectText(const Rect& rect) {
    return formatted("(%.1f, %.1f, %.1f, %.1f)", rect.x, rect.y, rect.width, rect.height);
}

}  // namespace

DesktopArrangement::DesktopArrangement(Platform& platform)
    : loop_(platform.mainLoop()), threads_(platform.threads()), displays_(platform.displays()) {}

std::vector<Size> DesktopArrangement::availableResolutions(DisplayID display,
                                                           std::optional<Size> panel) const {
    return resolutionsFor(displays_.modes(display), panel);
}

std::optional<DisplayMode> DesktopArrangement::modeOfSize(DisplayID display, Size size) const {
    for (const DisplayMode& mode : displays_.modes(display)) {
        if (Size{mode.width, mode.height} == size) return mode;
    }
    return std::nullopt;
}

template <typename Change>
Task<std::invoke_result_t<Change>> DesktopArrangement::apply(Change change) {
    struct Counted {
        explicit Counted(int& count) : count_(count) { ++count_; }
        ~Counted() { --count_; }
        int& count_;
    } const counted(changes_);
    if (!queue_) queue_ = threads_.makeSerialQueue(".displays", Priority::userInitiated);
    auto work = onQueue(loop_, *queue_, [this, change = std::move(change), run = run_.load()] {
        return run_ == run ? change() : std::invoke_result_t<Change>{};
    });
    co_return co_await work;
}

Task<bool> DesktopArrangement::selectMode(DisplayID display, Size size) {
    auto selection = apply([this, display, size] { return chooseMode(display, size); });
    const auto mode = co_await std::move(selection);
    if (mode) noteDensity(isHiDPI(*mode));
    co_return mode.has_value();
}

Task<bool> DesktopArrangement::setMode(DisplayID display, DisplayMode mode) {
    return apply([this, display, mode] {
        displays_.setMode(display, mode);
        return true;
    });
}

Task<bool> DesktopArrangement::place(DisplayID display, std::string position, Size size) {
    return apply([this, display, position = std::move(position), size] {
        unmirrorDisplay(display);
        positionDisplay(display, position, size);
        return true;
    });
}

void DesktopArrangement::startModeEnforcement(std::function<void()> look) {
    modeTimer_ = loop_.addTimer(kEnforcementInterval, RunLoop::Repeat::forever, std::move(look));
}

void DesktopArrangement::cancel() {
    ++run_;
    stopModeEnforcement();
}

std::optional<DisplayMode> DesktopArrangement::chooseMode(DisplayID display, Size size) {
    const auto mode = modeFor(displays_.modes(display), size);
    if (!mode) return std::nullopt;
    const auto current = displays_.currentMode(display);
    const bool isInForce =
        current && current->width == mode->width && current->pixelWidth == mode->pixelWidth;
    if (!isInForce && displays_.setMode(display, *mode)) {
        Log::write("mode set " + sizeText({mode->width, mode->height}) + "pt @" +
                   std::to_string(mode->pixelWidth / std::max(mode->width, 1)) + "x");
    }
    return mode;
}

void DesktopArrangement::noteDensity(bool hiDPI) {
    if (hiDPIActive_ == hiDPI) return;
    hiDPIActive_ = hiDPI;
    Log::write(hiDPI ? "HiDPI active" : "HiDPI unavailable for this size (macOS refused 2x)");
}

void DesktopArrangement::unmirrorDisplay(DisplayID display) {
    const auto mirroring = displays_.mirroring(display);
    if (!mirroring.inMirrorSet && mirroring.mirrors == 0) return;
    if (displays_.stopMirroring(display)) {
        Log::write("broke stale mirror on display " + std::to_string(display));
    }
}

void DesktopArrangement::positionDisplay(DisplayID display, const std::string& position, Size size) {
    const Point origin = originBeside(displays_.bounds(displays_.main()), position, size);
    const int x = toCoordinate(origin.x);
    const int y = toCoordinate(origin.y);
    displays_.setOrigin(display, x, y);
    Log::write("display " + std::to_string(display) + " positioned " + position + " at " + std::to_string(x) +
               "," + std::to_string(y) + " -> bounds " + rectText(displays_.bounds(display)));
}

}  // namespace quillon
