#include "base/text.hpp"

#include <charconv>
#include <cstdarg>
#include <cstdio>

namespace quillon {

std::vector<std::string_view> splitDroppingEmpty(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    while (!text.empty()) {
        const size_t end = text.find(separator);
        const std::string_view piece = text.substr(0, end);
        if (!piece.empty()) pieces.push_back(piece);
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    return pieces;
}

std::optional<int64_t> parseInteger(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') return std::nullopt;
    }
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<uint16_t> parsePort(std::string_view text) {
    const auto value = parseInteger(text);
    if (!value || *value < 0 || *value > 65535) return std::nullopt;
    return static_cast<uint16_t>(*value);
}

namespace {

/// The length of the valid UTF-8 sequence (RFC 3629) at the start of `bytes`, or 0.
size_t validSequence(ByteView bytes) {
    const uint8_t lead = bytes[0];
    if (lead < 0x80) return 1;
    size_t length = 0;
    uint8_t low = 0x80;
    uint8_t high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    }
    if (length == 0 || bytes.size() < length) return 0;
    if (bytes[1] < low || bytes[1] > high) return 0;
    for (size_t i = 2; i < length; ++i) {
        if (bytes[i] < 0x80 || bytes[i] > 0xBF) return 0;
    }
    return length;
}

}  // namespace

std::string repairedUtf8(ByteView bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const size_t length = validSequence(bytes);
        if (length == 0) {
            text += "\xEF\xBF\xBD";
            bytes = bytes.subspan(1);
        } else {
            text.append(reinterpret_cast<const char*>(bytes.data()), length);
            bytes = bytes.subspan(length);
        }
    }
    return text;
}

std::string onOneLine(std::string_view text) {
    std::string line;
    const std::string repaired = repairedUtf8(viewOf(text));
    for (size_t i = 0; i < repaired.size(); ++i) {
        const auto byte = static_cast<unsigned char>(repaired[i]);
        // U+0080 to U+009F, of two bytes each, are control characters too.
        const bool isTwoByteControl = byte == 0xC2 && static_cast<unsigned char>(repaired[i + 1]) < 0xA0;
        if (isTwoByteControl) {
            line += formatted("\\x%02x", static_cast<unsigned char>(repaired[++i]));
        } else if (byte < 0x20 || byte == 0x7F) {
            line += formatted("\\x%02x", byte);
        } else {
            line += repaired[i];
        }
    }
    return line;
}

std::string formatted(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

}  // namespace quillon
