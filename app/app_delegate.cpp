#include "app/app_delegate.hpp"

#include <algorithm>
#include <utility>

#include "app/classic_menu.hpp"
#include "app/host_lines.hpp"
#include "base/log.hpp"
#include "base/text.hpp"
#include "display/window_mover.hpp"
#include "session/encoder_plan.hpp"

namespace quillon {

namespace {

constexpr Duration kScanInterval = 20s;
constexpr Duration kScanTolerance = 2s;
constexpr Duration kBetweenAutoRetries = 5s;
constexpr Duration kRetryPause = 500ms;
/// Twice the interval of the statistics, which come with frames and not without.
constexpr Duration kQuietAfter = 2s;

}  // namespace

AppDelegate::AppDelegate(Platform& platform, ApplicationShell& shell, Details details)
    : platform_(platform),
      loop_(platform.mainLoop()),
      shell_(shell),
      details_(std::move(details)),
      settings_(platform.settings()),
      session_(Session::make(platform)),
      scanner_(std::make_unique<DeviceScanner>(platform)) {}

AppDelegate::~AppDelegate() {
    session_->onState = nullptr;
    session_->onStats = nullptr;
}

ApplicationCallbacks AppDelegate::callbacks() {
    return {
        .didFinishLaunching = [this] { applicationDidFinishLaunching(); },
        .didBecomeActive = [this] { applicationDidBecomeActive(); },
        .wasReopened = [this] { applicationWasReopened(); },
        .hasNoStatusArea = [this] { applicationHasNoStatusArea(); },
        .gotStatusArea = [this] { applicationGotStatusArea(); },
        .willTerminate = [this] { applicationWillTerminate(); },
    };
}

void AppDelegate::applicationDidFinishLaunching() {
    installStatusItemUI();
    session_->onState = [this](const Session::State& state) { sessionChanged(state); };
    session_->onStats = [this](const Session::Stats& stats) { sessionMeasured(stats); };
    WindowMover(platform_.windows(), platform_.displays(), platform_.permissions()).sweepOffscreenWindows();
    launchAtLoginEnabled_ = shell_.loginItem().status() == LoginItem::Status::enabled;
    refreshDevices();
    deviceTimer_ = loop_.addTimer(
        kScanInterval, RunLoop::Repeat::forever, [this] { refreshDevices(); }, kScanTolerance);
    if (!settings_.hasAutoStart()) settings_.setAutoStart(true);
    if (settings_.autoStart()) startSession();
}

void AppDelegate::applicationDidBecomeActive() {
    if (session_->state().kind != Session::State::Kind::failed) return;
    const Instant now = loop_.now();
    if (lastAutoRetry_ && now - *lastAutoRetry_ <= kBetweenAutoRetries) return;
    lastAutoRetry_ = now;
    Log::write("retrying after activation (previous failure)");
    retrySession(kRetryPause);
}

void AppDelegate::applicationWasReopened() {
    popoverPanel().show();
}

void AppDelegate::applicationHasNoStatusArea() {
    hasStatusArea_ = false;
    Log::write("this desktop shows no status items, opening the panel as a window");
    notice_ = "This desktop shows no tray icons. To see this window again, start Quillon once more.";
    popoverPanel().show();
}

void AppDelegate::applicationGotStatusArea() {
    hasStatusArea_ = true;
    notice_.clear();
    refreshFrontEnds();
}

void AppDelegate::applicationWillTerminate() {
    deviceTimer_.reset();
    retryTimer_.reset();
    quietTimer_.reset();
    targetFallback_.reset();
    session_->stop();
    session_->destroyVirtualDisplay();
    sleepAssertion_.reset();
    popoverPanel_.reset();
    statusItem_.reset();
}

void AppDelegate::installStatusItemUI() {
    statusItem_.reset();
    menuIsOpen_ = false;
    if (settings_.usePopover()) {
        statusItem_ = shell_.makeStatusItem([this] { togglePopover(); });
    } else {
        statusItem_ = shell_.makeStatusItem(MenuCallbacks{
            .menuNeedsUpdate = [this] { return menuNeedsUpdate(); },
            .menuWillOpen = [this] { menuWillOpen(); },
            .menuDidClose = [this] { menuDidClose(); },
            .onAction = [this](const MenuItem& item) { perform(item); },
        });
    }
    const Session::State& state = session_->state();
    applyStatusIcon(state.isRunning(), state.kind == Session::State::Kind::failed);
}

void AppDelegate::setLook(StatusItemLook::Icon icon, const std::string& description) {
    look_.icon = icon;
    look_.description = description;
    if (statusItem_) statusItem_->setLook(look_);
}

void AppDelegate::setToolTip(const std::string& text) {
    look_.toolTip = text;
    if (statusItem_) statusItem_->setLook(look_);
}

void AppDelegate::refreshTitle() {
    setToolTip(statsLine_.empty() ? statusLine_ : statusLine_ + " — " + statsLine_);
}

void AppDelegate::applyStatusIcon(bool running, bool failed) {
    if (failed) {
        setLook(StatusItemLook::Icon::error, "Quillon error");
    } else {
        setLook(StatusItemLook::Icon::normal, "Quillon");
    }
    setToolTip("Quillon — " + (failed || running ? statusLine_ : "Stopped"));
}

Menu AppDelegate::menuNeedsUpdate() const {
    return classicMenu(popoverSnapshot());
}

void AppDelegate::menuWillOpen() {
    menuIsOpen_ = true;
}

void AppDelegate::menuDidClose() {
    menuIsOpen_ = false;
}

PopoverController& AppDelegate::popoverPanel() {
    if (!popoverPanel_) {
        popoverPanel_ = std::make_unique<PopoverController>(
            shell_, PopoverController::Host{
                        .popoverSnapshot = [this] { return popoverSnapshot(); },
                        .applyPopoverChange = [this](const auto& change) { applyPopoverChange(change); },
                        .popoverDidClose = [this] { notice_.clear(); },
                    });
    }
    return *popoverPanel_;
}

void AppDelegate::refreshFrontEnds() {
    if (statusItem_) statusItem_->menuChanged();
    if (popoverPanel_) popoverPanel_->refresh();
}

void AppDelegate::togglePopover() {
    if (popoverPanel().isShown()) {
        popoverPanel().close();
    } else {
        popoverPanel().show();
    }
}

// --- the session

void AppDelegate::startSession() {
    retryTimer_.reset();
    const bool usePattern = std::ranges::count(details_.arguments, "--pattern") > 0;
    session_->start(sessionConfig(settings_, activeLink(), usePattern));
    if (settings_.preventSleep()) takeSleepAssertion();
}

void AppDelegate::retrySession(Duration delay) {
    session_->stop();
    retryTimer_ = loop_.addTimer(delay, RunLoop::Repeat::once, [this] { startSession(); });
}

void AppDelegate::sessionChanged(const Session::State& state) {
    const bool running = state.isRunning();
    const bool failed = state.kind == Session::State::Kind::failed;
    statusLine_ = stateText(state);
    Log::write("state: " + statusLine_);
    if (running) {
        didShowFailureAlert_ = false;
        flowLog_.reset();
        watchForQuiet();
    } else {
        // What was measured belongs to a stream that has ended.
        statsLine_.clear();
        flow_.clear();
        quietTimer_.reset();
    }
    refreshTitle();
    applyStatusIcon(running, failed);
    if (failed) presentFailure(state.text);
    judgeTarget(state);
    refreshFrontEnds();
}

void AppDelegate::presentFailure(const std::string& message) {
    Log::write("session failed: " + message);
    if (std::exchange(didShowFailureAlert_, true)) return;
    setLook(StatusItemLook::Icon::error, "Quillon error");
    statusLine_ = "Failed: " + message;
    refreshTitle();
}

void AppDelegate::sessionMeasured(const Session::Stats& stats) {
    const std::string& link = session_->activeTransport();
    statsLine_ = formatted("%.0f fps", stats.fps);
    if (stats.latencyP50) statsLine_ += formatted(" · %.0f ms", *stats.latencyP50);
    flow_ = flowText(link, stats);
    if (flowLog_.isDue(loop_.now(), stats)) Log::write("stream: " + flow_);
    watchForQuiet();
    refreshTitle();
    refreshFrontEnds();
}

void AppDelegate::watchForQuiet() {
    quietTimer_ = loop_.addTimer(kQuietAfter, RunLoop::Repeat::once, [this] { streamIsQuiet(); });
}

void AppDelegate::streamIsQuiet() {
    const bool linkIsFull = session_->linkIsFull();
    const std::string flow = quietText(session_->activeTransport(), linkIsFull);
    if (linkIsFull) {
        if (flow != flow_) Log::write("stream: " + flow);
        // It may drain without a frame to follow; a screen at rest ends by a frame.
        watchForQuiet();
    }
    flow_ = flow;
    refreshFrontEnds();
}

void AppDelegate::takeSleepAssertion() {
    if (!sleepAssertion_) sleepAssertion_ = shell_.wakeLock().preventDisplaySleep("Quillon streaming");
}

LinkKind AppDelegate::activeLink() const {
    return isWiFi(session_->activeTransport()) ? LinkKind::wifi : LinkKind::usb;
}

int64_t AppDelegate::resolvedWidth() const {
    return session_->state().isRunning() ? session_->config().virtualWidth : settings_.resolutionWidth();
}

int64_t AppDelegate::resolvedHeight() const {
    return session_->state().isRunning() ? session_->config().virtualHeight : settings_.resolutionHeight();
}

}  // namespace quillon
