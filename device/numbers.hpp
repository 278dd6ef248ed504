#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/geometry.hpp"
#include "device/time.hpp"

// Numbers as people write them in options: strict, the whole text or nothing.

namespace quillon::device {

/// A decimal number that is not negative and has at most 15 digits.
std::optional<uint64_t> parseCount(std::string_view text);

/// A finite decimal number such as "-0.25".
std::optional<double> parseNumber(std::string_view text);

/// A time from 0 to a day, in seconds.
std::optional<Clock::duration> parseSeconds(std::string_view text);

/// "2048x1536"; both numbers from 1 to 16384.
std::optional<Size> parseSize(std::string_view text);

}  // namespace quillon::device
