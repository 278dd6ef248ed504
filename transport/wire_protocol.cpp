#include "transport/wire_protocol.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

#include "base/text.hpp"

namespace quillon::wire {

void storeHeader(uint8_t* at, const Header& header) {
    at[0] = header.type;
    storeBigEndian32(at + 1, header.length);
    storeBigEndian64(at + 5, header.pts);
}

Header loadHeader(const uint8_t* bytes) {
    return {bytes[0], loadBigEndian32(bytes + 1), loadBigEndian64(bytes + 5)};
}

void encodeMessage(Bytes& buffer, MessageType type, uint64_t pts, ByteView payload) {
    if (payload.size() > std::numeric_limits<uint32_t>::max()) std::abort();
    buffer.clear();
    const size_t size = kHeaderSize + payload.size();
    // Memory that is used again doubles: frames whose size creeps up do not take new memory each.
    if (size > buffer.capacity()) buffer.reserve(std::max(size, 2 * buffer.capacity()));
    buffer.resize(kHeaderSize);
    storeHeader(buffer.data(), {static_cast<uint8_t>(type), static_cast<uint32_t>(payload.size()), pts});
    buffer.insert(buffer.end(), payload.begin(), payload.end());
}

Bytes encodedMessage(MessageType type, uint64_t pts, ByteView payload) {
    Bytes buffer;
    encodeMessage(buffer, type, pts, payload);
    return buffer;
}

Bytes cursorPayload(const Cursor& cursor) {
    Bytes payload(kCursorSize);
    payload[0] = cursor.visible ? 1 : 0;
    storeBigEndianFloat(payload.data() + 1, static_cast<float>(cursor.x));
    storeBigEndianFloat(payload.data() + 5, static_cast<float>(cursor.y));
    return payload;
}

std::optional<Cursor> parseCursor(ByteView payload) {
    if (payload.size() < kCursorSize) return std::nullopt;
    return Cursor{payload[0] == 1, loadBigEndianFloat(payload.data() + 1),
                  loadBigEndianFloat(payload.data() + 5)};
}

uint8_t smoothingByte(int64_t smoothness) {
    return static_cast<uint8_t>(std::clamp<int64_t>(smoothness, 0, 255));
}

std::string linkName(std::string_view activeTransport) {
    for (const std::string_view kind : {"USB", "Wi-Fi"}) {
        if (activeTransport.starts_with(kind)) return std::string(kind);
    }
    return std::string(activeTransport);
}

std::string settingsLine(const Settings& settings) {
    static constexpr std::array<std::string_view, 3> kScalingWords{"Fit", "Fill", "Stretch"};
    std::string line = settings.mirror ? "Mirror"
                                       : std::to_string(settings.virtualSize.width) + "×" +
                                             std::to_string(settings.virtualSize.height);
    line += settings.smoothness < 1 ? " | Smooth Off" : " | Smooth On";
    if (settings.quality != StreamQuality::best) {
        line += " | ";
        line += namesOf(settings.quality).logName;
    }
    line += " | ";
    line += kScalingWords[static_cast<size_t>(settings.scaling)];
    return line;
}

Bytes dropCountPayload(int64_t drops) {
    Bytes payload(4);
    storeBigEndian32(payload.data(), static_cast<uint32_t>(std::clamp<int64_t>(
                                         drops, 0, std::numeric_limits<uint32_t>::max())));
    return payload;
}

namespace {

std::optional<int> panelNumber(std::string_view text) {
    constexpr int64_t kSmallest = 101;
    constexpr int64_t kLargest = 8192;
    const auto number = parseInteger(text);
    if (!number || *number < kSmallest || *number > kLargest) return std::nullopt;
    return static_cast<int>(*number);
}

std::optional<Size> panelSizeInToken(std::string_view token) {
    const size_t x = token.find('x');
    if (x == std::string_view::npos) return std::nullopt;
    const auto width = panelNumber(token.substr(0, x));
    const auto height = panelNumber(token.substr(x + 1));
    if (!width || !height) return std::nullopt;
    return Size{*width, *height};
}

}  // namespace

Greeting parseGreeting(std::string_view line) {
    const auto tokens = splitDroppingEmpty(line, ' ');
    Greeting greeting;
    if (tokens.size() > 1) greeting.protocolVersion = parseInteger(tokens[1]).value_or(1);
    if (tokens.size() > 2 && !panelSizeInToken(tokens[2])) greeting.model = tokens[2];
    return greeting;
}

std::optional<Size> panelSize(std::optional<std::string_view> text) {
    if (!text) return std::nullopt;
    auto candidates = splitDroppingEmpty(*text, ' ');
    if (candidates.size() > 4) candidates = {candidates[4], candidates[0]};
    for (const auto token : candidates) {
        if (const auto size = panelSizeInToken(token)) return size;
    }
    return std::nullopt;
}

std::optional<Input> parseInput(ByteView payload) {
    if (payload.size() < kInputSize) return std::nullopt;
    const uint8_t* at = payload.data();
    return Input{at[0], loadBigEndianFloat(at + 1), loadBigEndianFloat(at + 5), loadBigEndianFloat(at + 9),
                 loadBigEndianFloat(at + 13)};
}

Bytes inputPayload(const Input& input) {
    Bytes payload(kInputSize);
    payload[0] = input.action;
    storeBigEndianFloat(payload.data() + 1, input.x);
    storeBigEndianFloat(payload.data() + 5, input.y);
    storeBigEndianFloat(payload.data() + 9, input.dx);
    storeBigEndianFloat(payload.data() + 13, input.dy);
    return payload;
}

}  // namespace quillon::wire
