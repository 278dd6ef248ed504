#include "device/stream_receiver.hpp"

#include "base/text.hpp"
#include "device/say.hpp"

namespace quillon::device {

StreamReceiver::StreamReceiver(std::shared_ptr<HostLink> link, Frames frames, Screen& screen,
                               Statistics& statistics, OutputFile& recording, OutputFile& messageLog,
                               FrameReady frameReady)
    : link_(std::move(link)),
      frames_(frames),
      screen_(screen),
      statistics_(statistics),
      recording_(recording),
      messageLog_(messageLog),
      frameReady_(std::move(frameReady)) {}

void StreamReceiver::take(const Message& message) {
    statistics_.message(message.header.type);
    log(message);
    using enum wire::MessageType;
    switch (message.type()) {
        case codecConfiguration:
            if (!decoder_.configure(message.payload)) statistics_.malformedConfiguration();
            break;
        case videoFrame:
            takeFrame(message);
            break;
        case cursor:
            takeCursor(message);
            break;
        case linkName:
        case settingsLine:
            takeText(message);
            break;
        case smoothing:
        case overlay:
        case dropCount:
            takeNumber(message);
            break;
        default:
            break;  // a type of later hosts
    }
}

void StreamReceiver::takeFrame(const Message& message) {
    const bool decodes = frames_ == Frames::decoded;
    const VideoDecoder::Result result =
        decodes ? decoder_.decode(message.payload) : decoder_.pass(message.payload);
    const FrameTimes times{message.header.pts, message.arrival, message.complete, Clock::now()};
    statistics_.decoded(result, times);
    recording_.write(decoder_.lastAnnexB());
    if (!decodes) frameReady_(std::make_shared<const Frame>(Frame{nullptr, times, link_}));
    if (!result.picture) return;
    if (result.picture->size() != pictureSize_) {
        pictureSize_ = result.picture->size();
        say("picture %dx%d", pictureSize_.width, pictureSize_.height);
    }
    const auto frame = std::make_shared<const Frame>(Frame{result.picture, times, link_});
    screen_.change([&](ScreenState& state) { state.frame = frame; });
    frameReady_(frame);
}

void StreamReceiver::takeCursor(const Message& message) {
    const auto pointer = wire::parseCursor(message.payload);
    if (pointer) screen_.change([&](ScreenState& state) { state.pointer = *pointer; });
}

void StreamReceiver::takeText(const Message& message) {
    const std::string text = repairedUtf8(message.payload);
    if (message.type() == wire::MessageType::linkName) {
        say("link \"%s\"", onOneLine(text).c_str());
        statistics_.linkNamed(text);
        screen_.change([&](ScreenState& state) { state.linkName = text; });
    } else {
        say("settings \"%s\"", onOneLine(text).c_str());
        statistics_.settings(text);
        screen_.change([&](ScreenState& state) { state.settings = parseSettingsLine(text); });
    }
}

void StreamReceiver::takeNumber(const Message& message) {
    const Bytes& payload = message.payload;
    if (message.type() == wire::MessageType::dropCount) {
        if (payload.size() >= 4) statistics_.drops(loadBigEndian32(payload.data()));
    } else if (payload.empty()) {
        return;
    } else if (message.type() == wire::MessageType::smoothing) {
        statistics_.smoothing(payload[0]);
    } else {
        const bool shown = payload[0] == 1;
        statistics_.overlay(shown);
        screen_.change([&](ScreenState& state) { state.overlay = shown; });
    }
}

void StreamReceiver::log(const Message& message) {
    if (!messageLog_.isOpen()) return;
    std::string line =
        formatted("%lld %lld %u %u %llu", static_cast<long long>(nanosecondsOf(message.arrival)),
                  static_cast<long long>(nanosecondsOf(message.complete)), unsigned{message.header.type},
                  message.header.length, static_cast<unsigned long long>(message.header.pts));
    if (message.type() == wire::MessageType::cursor) {
        if (const auto pointer = wire::parseCursor(message.payload)) {
            line += formatted(" %.6f %.6f", pointer->x, pointer->y);
        }
    }
    messageLog_.write(line + "\n");
}

}  // namespace quillon::device
