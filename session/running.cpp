#include "base/log.hpp"
#include "session/desktop_rules.hpp"
#include "session/encoder_plan.hpp"
#include "session/session.hpp"

// What happens while a session runs: messages to the device, a changed panel, a lost link, a cable that
// appears.

namespace quillon {

namespace {

constexpr Duration kRetryAfterLoss = 1500ms;
constexpr Duration kCableLookInterval = 3s;

}  // namespace

bool Session::send(wire::MessageType type, ByteView payload, PacketWriter::Kind kind) {
    return link_ && link_->send(type, 0, payload, kind);
}

void Session::sendSettingsLine() {
    if (!link_) return;
    wire::Settings settings;
    settings.mirror = config_.mirror;
    settings.virtualSize = config_.virtualSize();
    settings.smoothness = config_.smoothness;
    settings.quality = config_.quality;
    settings.scaling = effectiveScaling_;
    const std::string line = wire::settingsLine(settings);
    send(wire::MessageType::settingsLine, viewOf(line), PacketWriter::Kind::control);
    Log::write("settings line: " + line + " (fd=" + std::to_string(link_->fd()) + ")");
}

void Session::sendOverlayFlag() {
    const uint8_t overlay = config_.showOverlay ? 1 : 0;
    send(wire::MessageType::overlay, {&overlay, 1}, PacketWriter::Kind::control);
}

std::string Session::runningDescription() const {
    std::string text = config_.mirror ? "Mirroring main display"
                                      : "iPad display " + std::to_string(config_.virtualWidth) + "×" +
                                            std::to_string(config_.virtualHeight);
    return text + " · " + activeTransport_;
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

void Session::panelReported(const std::string& text) {
    Log::write("panel report: " + text);
    const auto panel = wire::panelSize(text);
    if (!panel || panel == panelPixels_) return;
    Log::write("panel changed to " + sizeText(*panel));
    panelPixels_ = panel;
    config_.width = panel->width;
    config_.height = panel->height;
    panelChanged();
}

void Session::panelChanged() {
    if (!config_.scalingExplicit) {
        const Scaling suited = scalingForThisSession();
        if (suited != effectiveScaling_) {
            effectiveScaling_ = suited;
            config_.scaling = suited;
            Log::write("scaling: " + std::string(namesOf(suited).logName) + " (automatic, panel reported)");
        }
    }
    loop_.post([weak = weak_from_this(), ticket = ticket_] {
        const auto self = weak.lock();
        if (self && self->isCurrent(ticket)) self->reconfigureForPanel();
    });
}

void Session::reconfigureForPanel() {
    if (!link_ || !displayID_) {
        restart();
        return;
    }
    Log::write("reconfiguring for " + std::to_string(config_.width) + "x" + std::to_string(config_.height) +
               " panel");
    runStartUp(reconfigureAsync(newStartUp()));
}

Task<> Session::reconfigureAsync(Ticket ticket) {
    cursorFeed_.reset();
    if (pipeline_) pipeline_->stop(background_);
    pipeline_.reset();
    try {
        buildPipeline();
    } catch (const EncoderFailure&) {
        Log::write("encoder failed");
        setState(State::failed("encoder failed"));
        finishTransition();
        co_return;
    }
    sendSettingsLine();
    co_await startCapture(ticket);
}

void Session::linkLost() {
    if (stopping_ || transitioning_) return;
    // The display is looked for again by the next start-up.
    teardown();
    watchdog_->stop();
    Log::write("link lost, reconnecting");
    setState(State::starting());
    ++ticket_.startUp;  // a start-up that was still on its way has lost its link
    retry_.schedule(kRetryAfterLoss);
}

Task<> Session::watchForCable(Ticket ticket) {
    while (isWiFi(activeTransport_)) {
        co_await loop_.sleep(kCableLookInterval);
        if (!isCurrent(ticket) || !isWiFi(activeTransport_)) co_return;
        if (transitioning_ || config_.transport != Transport::auto_) continue;
        auto work = inBackground(loop_, platform_.threads(), [connector = connector_, config = config_] {
            return connector->cabledDevice(config);
        });
        const auto udid = co_await work;
        if (!isCurrent(ticket)) co_return;
        if (!udid || transitioning_ || config_.transport != Transport::auto_) continue;
        Log::write("auto: cable detected for " + *udid + ", switching back to USB");
        restart();
        co_return;
    }
}

}  // namespace quillon
