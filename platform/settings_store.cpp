#include "platform/settings_store.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "base/text.hpp"

namespace quillon {

std::optional<bool> parseBoolean(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, bool>, 6> kWords{
        {{"true", true}, {"false", false}, {"yes", true}, {"no", false}, {"1", true}, {"0", false}}};
    const auto sameLetter = [](char word, char other) {
        return word == (other >= 'A' && other <= 'Z' ? static_cast<char>(other - 'A' + 'a') : other);
    };
    for (const auto& [word, meaning] : kWords) {
        if (std::ranges::equal(word, text, sameLetter)) return meaning;
    }
    return std::nullopt;
}

std::string textOf(const SettingsValue& value) {
    if (const auto* truth = std::get_if<bool>(&value)) return trueOrFalse(*truth);
    if (const auto* number = std::get_if<int64_t>(&value)) return std::to_string(*number);
    return std::get<std::string>(value);
}

}  // namespace quillon
