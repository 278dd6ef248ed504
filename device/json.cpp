#include "device/json.hpp"

#include <cmath>

#include "base/text.hpp"

namespace quillon::device {

JsonObject& JsonObject::add(std::string_view name, double value) {
    return addJson(name, std::isfinite(value) ? formatted("%.3f", value) : "null");
}

JsonObject& JsonObject::add(std::string_view name, const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + quoted(text);
    return addJson(name, "[" + list + "]");
}

JsonObject& JsonObject::addJson(std::string_view name, std::string_view value) {
    members_.push_back(quoted(name) + ": " + std::string(value));
    return *this;
}

std::string JsonObject::joined(std::string_view separator) const {
    std::string all;
    for (const std::string& member : members_) {
        if (!all.empty()) all += separator;
        all += member;
    }
    return all;
}

std::string JsonObject::quoted(std::string_view text) {
    std::string all = "\"";
    for (const char each : text) {
        if (each == '"' || each == '\\') {
            all += '\\';
            all += each;
        } else if (static_cast<unsigned char>(each) < 0x20) {
            all += formatted("\\u%04x", static_cast<unsigned>(each));
        } else {
            all += each;
        }
    }
    return all + "\"";
}

}  // namespace quillon::device
