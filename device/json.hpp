#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <vector>

namespace quillon::device {

/// Writes a JSON object, member by member.
class JsonObject {
  public:
    JsonObject& add(std::string_view name, std::string_view text) { return addJson(name, quoted(text)); }
    JsonObject& add(std::string_view name, const char* text) { return add(name, std::string_view(text)); }
    JsonObject& add(std::string_view name, bool value) { return addJson(name, value ? "true" : "false"); }
    JsonObject& add(std::string_view name, std::integral auto value) {
        return addJson(name, std::to_string(value));
    }
    /// Three decimals; null for what JSON has no word for.
    JsonObject& add(std::string_view name, double value);
    JsonObject& add(std::string_view name, const std::vector<std::string>& texts);
    /// `value` is JSON already.
    JsonObject& addJson(std::string_view name, std::string_view value);

    /// The object in one line.
    std::string line() const { return "{" + joined(", ") + "}"; }
    /// The object with a line for each member.
    std::string text() const { return "{\n  " + joined(",\n  ") + "\n}\n"; }

  private:
    static std::string quoted(std::string_view text);
    std::string joined(std::string_view separator) const;

    std::vector<std::string> members_;
};

}  // namespace quillon::device
