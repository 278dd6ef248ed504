#include "platform/linux/x11_spare_output.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace quillon {

namespace {

/// The drivers' names: dummy DUMMY0, intel VIRTUAL1, kernel drivers Virtual-1.
bool isVirtualHead(std::string name) {
    constexpr std::array<std::string_view, 2> kNames{"dummy", "virtual"};
    std::ranges::transform(name, name.begin(),
                           [](char letter) { return static_cast<char>(std::tolower(letter)); });
    return std::ranges::any_of(kNames, [&name](std::string_view each) { return name.starts_with(each); });
}

/// Outputs of a second card end with its number and theirs: DVI-I-1-1.
bool isOfSecondCard(std::string_view name) {
    return name.starts_with("DVI-I-") && std::ranges::count(name, '-') == 3;
}

}  // namespace

std::optional<SpareRank> spareRank(const OutputFacts& output) {
    if (output.isOn || output.hasEdid || !output.hasFreeCrtc) return std::nullopt;
    if (isVirtualHead(output.name)) return SpareRank::virtualHead;
    if (output.connected) return SpareRank::forced;
    return isOfSecondCard(output.name) ? SpareRank::secondCard : SpareRank::disconnected;
}

}  // namespace quillon
