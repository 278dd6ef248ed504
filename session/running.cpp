#include "base/log.hpp"
#include "base/text.hpp"
#include "session/encoder_plan.hpp"
#include "session/session.hpp"

// What happens while a session runs: messages to the device, a lost link, a cable that appears.

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
        Log::write("auto: cable detected for " + onOneLine(*udid) + ", switching back to USB");
        restart();
        co_return;
    }
}

}  // namespace quillon
