#include "base/log.hpp"
#include "base/text.hpp"
#include "session/encoder_plan.hpp"
#include "session/session.hpp"

// What the user changes while a session runs. Each change is stored in the configuration, so that the next
// start-up has it; then the least is done that makes it take effect now.

namespace quillon {

namespace {
const char* onOrOff(bool value) {
    return value ? "on" : "off";
}
}  // namespace

void Session::setQuality(StreamQuality quality) {
    config_.quality = quality;
    (isWiFi(activeTransport_) ? config_.qualityWiFi : config_.qualityUSB) = quality;
    if (lastAppliedQuality_ == quality) return;
    lastAppliedQuality_ = quality;
    Log::write("quality set to " + std::string(namesOf(quality).logName));
    restart();
}

void Session::setScaling(Scaling scaling) {
    config_.scalingExplicit = true;
    if (scaling == config_.scaling) return;
    config_.scaling = scaling;
    effectiveScaling_ = scaling;
    Log::write("scaling set to " + std::string(namesOf(scaling).logName));
    if (state_.isRunning()) restart();
}

void Session::setSmoothing(int64_t frames) {
    config_.smoothness = frames;
    (isWiFi(activeTransport_) ? config_.smoothWiFi : config_.smoothUSB) = frames;
    if (!link_) return;
    const uint8_t smoothing = wire::smoothingByte(frames);
    send(wire::MessageType::smoothing, {&smoothing, 1}, PacketWriter::Kind::control);
    sendSettingsLine();
    Log::write("smoothness set to " + std::to_string(frames) + " frame(s)");
}

void Session::setOverlayVisible(bool visible) {
    config_.showOverlay = visible;
    if (!link_) return;
    sendOverlayFlag();
    Log::write(std::string("overlay on device: ") + onOrOff(visible));
}

void Session::setTransport(Transport transport) {
    if (transport == config_.transport) return;
    config_.transport = transport;
    Log::write("transport set to " + std::string(rawValue(transport)));
    restart();
}

void Session::setMirror(bool mirror) {
    if (mirror == config_.mirror) {
        pendingMirror_.reset();  // of two changes during a transition the last counts
        return;
    }
    const std::string change = std::string("switch to ") + modeName(mirror);
    if (transitioning_) {
        pendingMirror_ = mirror;
        Log::write(change + " queued");
        return;
    }
    config_.mirror = mirror;
    Log::write(change);
    restart();
}

void Session::setTarget(std::optional<std::string> udid, std::optional<std::string> host) {
    Log::write("target set to " + onOneLine(host.value_or(udid.value_or("default"))));
    config_.targetUDID = udid;
    config_.targetHost = host;
    if (!transitioning_) {
        restart();
        return;
    }
    pendingTarget_ = {std::move(udid), std::move(host)};
    Log::write("transition busy, target queued");
}

void Session::setPosition(const std::string& position) {
    config_.position = position;
    if (!displayID_ || *displayID_ != desktop_.virtualDisplayID() || config_.mirror) return;
    background_.start(moveDisplay(*displayID_));
}

}  // namespace quillon
