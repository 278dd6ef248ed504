#include <algorithm>

#include "base/log.hpp"
#include "base/text.hpp"
#include "session/desktop_rules.hpp"
#include "session/session.hpp"

// The session and its desktop: the resolution that the user chooses or the panel asks for, the place of the
// virtual display, a panel that changes, and the bounds that touches are mapped to.

namespace quillon {

namespace {

constexpr Duration kLongestTransition = 45s;

std::string joined(const std::vector<std::string>& texts) {
    std::string text;
    for (const std::string& each : texts) text += (text.empty() ? "" : ", ") + each;
    return text;
}

std::vector<std::string> sizeTexts(const std::vector<Size>& sizes) {
    std::vector<std::string> texts;
    std::ranges::transform(sizes, std::back_inserter(texts), sizeText);
    return texts;
}

}  // namespace

// --- resolution and place

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
    wantedMode_ = {display, *mode};
    if (!changesModes_) background_.start(changeModes());
    Log::write("resolution set to " + sizeText(size) + " (capture " + std::to_string(config_.width) + "x" +
               std::to_string(config_.height) + ")");
    sendSettingsLine();
}

/// Sets the mode that is wanted until none is. One that comes while another is set replaces what waits: a
/// device that reports one panel after the other gives a slow display server no more to do than the last.
Task<> Session::changeModes() {
    changesModes_ = true;
    while (wantedMode_) {
        const WantedMode wanted = *std::exchange(wantedMode_, std::nullopt);
        const bool isSet = co_await arrangement_.setMode(wanted.display, wanted.mode);
        if (isSet && !config_.mirror && !wantedMode_) {
            auto placing = arrangement_.place(wanted.display, config_.position, config_.virtualSize());
            co_await std::move(placing);
        }
        followBounds();
    }
    changesModes_ = false;
}

Task<> Session::moveDisplay(DisplayID display) {
    const std::string position = config_.position;
    auto placing = arrangement_.place(display, position, config_.virtualSize());
    const bool isPlaced = co_await std::move(placing);
    if (isPlaced) Log::write("position=" + position + " applied to display " + std::to_string(display));
    followBounds();
}

void Session::watchArrangement(DisplayID display) {
    if (transitioning_ && loop_.now() - transitionStartedAt_ > kLongestTransition) {
        Log::write("transition watchdog fired, clearing");
        finishTransition();
    }
    // A change on its way is looked at the next time.
    if (desktop_.isOwned() && !arrangement_.isBusy()) background_.start(enforceMode(display));
}

Task<> Session::enforceMode(DisplayID display) {
    co_await arrangement_.selectMode(display, config_.virtualSize());
    followBounds();
}

// --- the panel

void Session::usePanel(Size panel) {
    panelPixels_ = panel;
    config_.width = panel.width;
    config_.height = panel.height;
}

void Session::alignDesktopOrientation(Size panel) {
    const auto resolutions = availableResolutions();
    Log::write("canvas options: " + joined(sizeTexts(resolutions)));
    if (const DisplayID display = desktop_.virtualDisplayID()) {
        auto all = sizeTexts(arrangement_.availableResolutions(display, std::nullopt));
        std::ranges::sort(all);
        if (!all.empty()) Log::write("raw modes: " + joined(all));
    }
    const auto chosen = resolutionFollowing(resolutions, panel);
    if (!chosen || *chosen == config_.virtualSize()) return;
    Log::write(formatted("desktop follows panel %dx%d (aspect %.2f vs %.2f)", panel.width, panel.height,
                         aspect(panel), aspect(*chosen)));
    setResolution(chosen->width, chosen->height);
}

void Session::resetUnofferedResolution() {
    if (!displayID_ || *displayID_ != desktop_.virtualDisplayID()) return;
    const auto resolutions = availableResolutions();
    if (std::ranges::find(resolutions, config_.virtualSize()) != resolutions.end()) return;
    const auto chosen = resolutionFollowing(resolutions, panelPixels_.value_or(config_.rasterSize()));
    if (!chosen) return;
    Log::write("desktop reset to " + sizeText(*chosen) + " (not offered by this panel)");
    setResolution(chosen->width, chosen->height);
}

void Session::panelChanged() {
    const auto panel = messages_->takePanel();
    if (!panel || panel == panelPixels_) return;
    usePanel(*panel);
    const Size before = config_.virtualSize();
    alignDesktopOrientation(*panel);
    if (!config_.scalingExplicit) {
        const Scaling suited = scalingForThisSession();
        if (suited != effectiveScaling_) {
            effectiveScaling_ = suited;
            config_.scaling = suited;
            Log::write("scaling: " + std::string(namesOf(suited).logName) + " (automatic, panel reported)");
        }
    }
    reconfigureAfter(config_.virtualSize() != before ? kDesktopSettles : Duration::zero());
}

void Session::reconfigureAfter(Duration pause) {
    if (reconfigureTimer_) pause = kDesktopSettles;  // the desktop keeps the time that it was given before
    reconfigureTimer_ = loop_.addTimer(pause, RunLoop::Repeat::once, [this, ticket = ticket_] {
        reconfigureTimer_.reset();
        if (isCurrent(ticket)) reconfigureForPanel();
    });
}

void Session::reconfigureForPanel() {
    if (!link_ || !displayID_) {
        restart();
        return;
    }
    Log::write("reconfiguring for " + sizeText(config_.rasterSize()) + " panel");
    const Ticket ticket = newStartUp();
    cursorFeed_.reset();
    if (pipeline_) pipeline_->stop(background_);
    pipeline_.reset();
    try {
        buildPipeline();
    } catch (const EncoderFailure&) {
        Log::write("encoder failed");
        setState(State::failed("encoder failed"));
        finishTransition();
        return;
    }
    effectiveScaling_ = scalingForThisSession();
    sendSettingsLine();
    followBounds();
    startSource(ticket);
}

Scaling Session::scalingForThisSession() const {
    if (config_.scalingExplicit) return config_.scaling;
    const Size panel = panelPixels_.value_or(config_.rasterSize());
    Size desktop = config_.virtualSize();
    if (config_.mirror) {
        const Rect main = platform_.displays().bounds(platform_.displays().main());
        desktop = {static_cast<int>(main.width), static_cast<int>(main.height)};
    }
    return automaticScaling(panel, desktop).value_or(config_.scaling);
}

// --- the place of the streamed display

void Session::useBounds(const Rect& bounds) {
    if (injector_ && injector_->bounds() == bounds) return;
    const bool isResized = injector_ && (injector_->bounds().width != bounds.width ||
                                         injector_->bounds().height != bounds.height);
    injector_ = std::make_shared<InputInjector>(platform_.pointer(), bounds);
    if (messages_) messages_->setInjector(injector_);
    // What capture crops was measured on the display as it was.
    if (isResized && effectiveScaling_ == Scaling::fill && !reconfigureTimer_)
        reconfigureAfter(kDesktopSettles);
}

void Session::followBounds() {
    if (!displayID_ || !injector_) return;
    const Rect bounds = platform_.displays().bounds(*displayID_);
    if (bounds == injector_->bounds()) return;
    useBounds(bounds);
    if (cursorFeed_) cursorFeed_->follow();
}

}  // namespace quillon
