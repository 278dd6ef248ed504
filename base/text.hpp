#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.hpp"

namespace quillon {

/// The pieces of `text` between occurrences of `separator`; empty pieces are dropped.
std::vector<std::string_view> splitDroppingEmpty(std::string_view text, char separator);

/// A whole signed decimal integer: an optional "+" or "-", then digits only. Anything else, and a
/// number that does not fit, is no number.
std::optional<int64_t> parseInteger(std::string_view text);

/// The same for an unsigned 16-bit port number.
std::optional<uint16_t> parsePort(std::string_view text);

/// UTF-8 text from bytes of unknown origin: every invalid sequence becomes U+FFFD.
std::string repairedUtf8(ByteView bytes);

/// Text of unknown origin for one line of output: repaired, and control characters, which could end the line
/// or command a terminal, as "\x0a".
std::string onOneLine(std::string_view text);

/// printf into a string.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...);

inline const char* trueOrFalse(bool value) {
    return value ? "true" : "false";
}

}  // namespace quillon
