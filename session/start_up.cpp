#include <cstdio>

#include "base/log.hpp"
#include "base/text.hpp"
#include "session/encoder_plan.hpp"
#include "session/session.hpp"

// The start-up sequence: display, link, greeting, encoder, first messages, reader, capture. Every start,
// restart and retry runs it from the top.

namespace quillon {

namespace {

constexpr Duration kRetryWithoutDisplay = 5s;
constexpr Duration kRetryWithoutLink = 5s;
constexpr Duration kRetryWithoutCapture = 4s;

}  // namespace

Task<> Session::beginAsync(Ticket ticket) {
    const bool hasDisplay = co_await prepareDisplay(ticket);
    if (!hasDisplay) co_return;

    auto connecting = LinkConnector::connectWithRetry(connector_, config_);
    auto connection = co_await std::move(connecting);
    if (!isCurrent(ticket)) co_return;
    if (!connection) {
        activeTransport_.clear();
        setState(State::failed("iPad not reachable"));
        Log::write("USB connect failed, will retry");
        finishTransition();
        if (isCurrent(ticket)) retry_.schedule(kRetryWithoutLink);
        co_return;
    }
    const auto greeting = connection->greeting;
    adoptLink(std::move(*connection));
    const bool isFollowed = co_await followGreeting(greeting, ticket);
    if (!isFollowed) co_return;
    rememberDevice(greeting);
    choosePreferences();
    try {
        buildPipeline();
    } catch (const EncoderFailure& failure) {
        std::printf("encoder: %s\n", failure.what());
        setState(State::failed(std::string("encoder: ") + failure.what()));
        finishTransition();
        if (isCurrent(ticket)) teardown();
        co_return;
    }
    sendStartUpMessages();
    askForControl();
    startReader();
    scheduleDuration();
    startSource(ticket);
}

std::function<bool()> Session::whileCurrent(Ticket ticket) {
    return [this, ticket] { return isCurrent(ticket); };
}

Task<bool> Session::prepareDisplay(Ticket ticket) {
    Displays& displays = platform_.displays();
    DisplayID display = 0;
    if (config_.mirror) {
        display = displays.main();
    } else if (config_.virtual_) {
        display = co_await prepareVirtualDisplay(ticket);
        if (display == 0) co_return false;
    } else {
        const auto active = displays.active();
        const auto index = static_cast<size_t>(config_.displayIndex);
        if (config_.displayIndex >= 0 && index < active.size()) display = active[index];
    }
    if (display != 0) displayID_ = display;
    Log::write(std::string("mode=") + modeName(config_.mirror) + ", capturing display " +
               std::to_string(display));
    co_return true;
}

/// 0 when there is none, or when the start-up is no longer the current one.
Task<DisplayID> Session::prepareVirtualDisplay(Ticket ticket) {
    auto obtaining = desktop_.obtain(whileCurrent(ticket));
    const DisplayID display = co_await std::move(obtaining);
    if (!isCurrent(ticket)) co_return 0;
    if (display == 0) {
        setState(State::failed("CGVirtualDisplay unavailable"));
        Log::write("CGVirtualDisplay unavailable, retrying shortly");
        finishTransition();
        if (isCurrent(ticket)) retry_.schedule(kRetryWithoutDisplay);
        co_return 0;
    }
    arrangement_.startModeEnforcement([this, display] { watchArrangement(display); });
    co_await arrangement_.selectMode(display, config_.virtualSize());
    if (!isCurrent(ticket)) co_return 0;
    auto placing = arrangement_.place(display, config_.position, config_.virtualSize());
    co_await std::move(placing);
    co_return isCurrent(ticket) ? display : 0;
}

void Session::adoptLink(Connection connection) {
    retry_.reset();
    activeTransport_ = std::move(connection.activeTransport);
    connectedUDID_ = std::move(connection.connectedUDID);
    link_ = std::make_shared<Link>(platform_, std::move(connection.socket));
}

Task<bool> Session::followGreeting(std::string greeting, Ticket ticket) {
    const Size before = config_.virtualSize();
    const auto said = wire::parseGreeting(greeting);
    clientSupportsPing_ = said.supportsPing();
    Log::write("client protocol " + std::to_string(said.protocolVersion) + ", ping " +
               (clientSupportsPing_ ? "supported" : "not supported"));
    if (const auto panel = wire::panelSize(greeting)) {
        usePanel(*panel);
        Log::write("panel " + sizeText(*panel));
        alignDesktopOrientation(*panel);
    }
    resetUnofferedResolution();
    if (config_.virtualSize() != before) co_await loop_.sleep(kDesktopSettles);
    co_return isCurrent(ticket);
}

void Session::rememberDevice(const std::string& greeting) {
    if (connectedUDID_.empty()) return;
    const auto model = wire::parseGreeting(greeting).model;
    if (!model) return;
    platform_.settings().write({{"lastDeviceModel", *model},
                                {"lastDeviceID", connectedUDID_},
                                {"deviceModel." + connectedUDID_, *model}});
}

void Session::choosePreferences() {
    const bool wifi = isWiFi(activeTransport_);
    config_.quality = wifi ? config_.qualityWiFi : config_.qualityUSB;
    config_.smoothness = wifi ? config_.smoothWiFi : config_.smoothUSB;
    if (lastAppliedQuality_ != config_.quality) lastAppliedQuality_.reset();
    Log::write(std::string("prefs for ") + (wifi ? "Wi-Fi" : "USB") + ": quality " +
               std::string(namesOf(config_.quality).logName) + ", smooth " +
               std::to_string(config_.smoothness));
}

void Session::buildPipeline() {
    const EncoderSettings plan = encoderPlan(config_, activeTransport_);
    Log::write(formatted("quality %s: %dx%d, %d Mbps (%s)", namesOf(config_.quality).logName.data(),
                         plan.width, plan.height, plan.bitrate / 1'000'000, activeTransport_.c_str()));
    StreamPipeline::Parts parts{platform_, link_, statistics_, watchdog_, {}, {}};
    parts.onStats = [weak = weak_from_this(), &loop = loop_, link = link_](const Stats& stats) {
        loop.post([weak, link, stats] {
            const auto self = weak.lock();
            if (!self || self->stopping_) return;
            link->send(wire::MessageType::dropCount, 0, wire::dropCountPayload(stats.drops),
                       PacketWriter::Kind::control);
            if (self->onStats) self->onStats(stats);
        });
    };
    parts.onCaptureEnded = [weak = weak_from_this(), ticket = ticket_](const std::string& reason) {
        const auto self = weak.lock();
        if (self && self->isCurrent(ticket)) self->captureFailed(reason);
    };
    pipeline_ = std::make_unique<StreamPipeline>(std::move(parts), plan);
    statistics_->begin(loop_.now());
    Log::write("link established over " + activeTransport_);
    Log::write("keyframe interval " + std::to_string(plan.keyframeSeconds) + "s");
}

void Session::sendStartUpMessages() {
    send(wire::MessageType::linkName, viewOf(wire::linkName(activeTransport_)), PacketWriter::Kind::control);
    effectiveScaling_ = scalingForThisSession();
    sendSettingsLine();
    sendOverlayFlag();
    if (displayID_) useBounds(platform_.displays().bounds(*displayID_));
    const uint8_t smoothing = wire::smoothingByte(config_.smoothness);
    send(wire::MessageType::smoothing, {&smoothing, 1}, PacketWriter::Kind::video);
}

void Session::askForControl() {
    Permissions& permissions = platform_.permissions();
    const bool trusted = permissions.isTrustedForControl();
    if (!trusted) {
        std::fputs("[Quillon] Accessibility not granted; requesting\n", stderr);
        permissions.requestControl();
    }
    Log::write(std::string("accessibility=") + trueOrFalse(trusted));
}

void Session::startReader() {
    // On the reader's queue: what follows is the main thread's, as long as the link is the session's.
    const auto posted = [weak = weak_from_this(), &loop = loop_, link = std::weak_ptr(link_)](auto reaction) {
        return [weak, &loop = loop, link, reaction] {
            loop.post([weak, link, reaction] {
                const auto self = weak.lock();
                if (self && self->link_ && self->link_ == link.lock()) ((*self).*reaction)();
            });
        };
    };
    messages_ = std::make_shared<DeviceMessages>(loop_, startTime_, statistics_, watchdog_, panelPixels_,
                                                 posted(&Session::panelChanged));
    messages_->setInjector(injector_);
    link_->startReader(
        [messages = messages_](const MessageReader::Message& message) { messages->handle(message); },
        posted(&Session::linkLost));
}

void Session::startSource(Ticket ticket) {
    if (config_.usePattern) {
        startPattern(ticket);
    } else {
        // Outlives the start-up: a capture that comes after a newer one has begun is still to be ended.
        background_.start(startCapture(ticket));
    }
}

Task<> Session::startCapture(Ticket ticket) {
    Permissions& permissions = platform_.permissions();
    if (!permissions.canCaptureScreen() && !permissions.requestScreenCapture()) {
        Log::write("Screen Recording not granted; requesting");
    }
    effectiveScaling_ = scalingForThisSession();
    if (!config_.scalingExplicit) {
        Log::write("scaling: " + std::string(namesOf(effectiveScaling_).logName) +
                   " (automatic for this panel's shape)");
    }
    StreamPipeline::CaptureStart start;
    start.displayID = displayID_;
    start.displayIndex = clampedToInt(config_.displayIndex);
    start.scaling = effectiveScaling_;
    start.timeBase = startTime_;
    start.pace = config_.pace;
    std::optional<std::string> failure;
    auto capturing = pipeline_->startCapture(start);
    try {
        co_await std::move(capturing.start);
    } catch (const std::runtime_error& error) {
        failure = error.what();
    }
    if (!isCurrent(ticket)) {
        if (failure) co_return;
        Log::write("stale capture task finished, ignoring");
        co_await ScreenSource::stop(capturing.source);
        co_return;
    }
    if (failure) {
        captureFailed(*failure);
    } else {
        captureRuns(ticket);
    }
}

void Session::startPattern(Ticket ticket) {
    const Size size = config_.rasterSize();
    pipeline_->startPattern(size, startTime_);
    streams("Test pattern " + std::to_string(size.width) + "×" + std::to_string(size.height));
    finishTransition();
    if (isCurrent(ticket)) noticeEarlierLoss();
}

void Session::captureRuns(Ticket ticket) {
    const std::string description = runningDescription();
    streams(description);
    Log::write("capture running: " + description);
    finishTransition();
    if (!isCurrent(ticket)) return;
    background_.start(watchForCable(ticket));
    if (displayID_) {
        const auto sendCursor = [this](const wire::Cursor& cursor) {
            send(wire::MessageType::cursor, wire::cursorPayload(cursor), PacketWriter::Kind::latest);
        };
        cursorFeed_ = std::make_unique<CursorFeed>(
            CursorFeed::Parts{loop_, platform_.pointer(), platform_.displays(), *displayID_, sendCursor,
                              [this](const Rect& bounds) { useBounds(bounds); }});
    }
    watchdog_->start();
    noticeEarlierLoss();
}

/// A source runs. If it did not before, the panel may have made it begin again: then nothing is left to
/// retry.
void Session::streams(const std::string& description) {
    retry_.cancel();
    setState(State::running(description));
}

/// A loss in the middle of a transition was left to the transition, which has just ended.
void Session::noticeEarlierLoss() {
    if (link_->hasEnded()) linkLost();
}

void Session::captureFailed(const std::string& reason) {
    cursorFeed_.reset();
    desktop_.doubt();
    setState(State::failed("capture: " + reason));
    Log::write("capture failed: " + reason);
    const Ticket before = ticket_;
    finishTransition();
    if (isCurrent(before)) retry_.schedule(kRetryWithoutCapture);
}

void Session::scheduleDuration() {
    if (config_.duration < 1 || durationTimer_) return;
    durationTimer_ = loop_.addTimer(seconds(static_cast<double>(config_.duration)), RunLoop::Repeat::once,
                                    [this] { stop(); });
}

}  // namespace quillon
