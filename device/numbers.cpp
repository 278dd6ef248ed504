#include "device/numbers.hpp"

#include <charconv>
#include <cmath>

namespace quillon::device {
namespace {

template <typename Number>
std::optional<Number> wholeText(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

constexpr double kLongest = 24 * 60 * 60;
constexpr uint64_t kLargestSide = 16384;

}  // namespace

std::optional<uint64_t> parseCount(std::string_view text) {
    if (text.size() > 15) return std::nullopt;
    return wholeText<uint64_t>(text);
}

std::optional<double> parseNumber(std::string_view text) {
    const auto value = wholeText<double>(text);
    if (!value || !std::isfinite(*value)) return std::nullopt;
    return value;
}

std::optional<Clock::duration> parseSeconds(std::string_view text) {
    const auto value = parseNumber(text);
    if (!value || *value < 0 || *value > kLongest) return std::nullopt;
    return secondsToDuration(*value);
}

std::optional<Size> parseSize(std::string_view text) {
    const size_t x = text.find('x');
    if (x == std::string_view::npos) return std::nullopt;
    const auto width = parseCount(text.substr(0, x));
    const auto height = parseCount(text.substr(x + 1));
    const auto isSide = [](auto side) { return side && *side >= 1 && *side <= kLargestSide; };
    if (!isSide(width) || !isSide(height)) return std::nullopt;
    return Size{static_cast<int>(*width), static_cast<int>(*height)};
}

}  // namespace quillon::device
