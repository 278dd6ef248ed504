#include "app/device_entries.hpp"

#include <algorithm>
#include <map>
#include <set>

#include "base/text.hpp"

namespace quillon {

namespace {

constexpr std::string_view kNamePrefix = "Quillon on ";
/// So much of an identifier tells two devices apart and still fits into a menu.
constexpr size_t kShortIdentifier = 6;

/// The end of what the device is known by.
std::string shortIdentifier(const std::optional<std::string>& udid, const std::optional<std::string>& host) {
    if (udid && udid->size() > kShortIdentifier) return "…" + udid->substr(udid->size() - kShortIdentifier);
    return udid.value_or(host.value_or(""));
}

std::vector<DeviceEntry> cabledEntries(
    const FoundDevices& found, const std::function<std::optional<std::string>(const std::string&)>& modelOf) {
    std::vector<DeviceEntry> entries;
    for (const std::string& udid : found.udids) {
        const bool known = std::ranges::any_of(entries, [&](const auto& each) { return each.udid == udid; });
        if (!known) entries.push_back({{}, udid, std::nullopt, modelOf(udid)});
    }
    return entries;
}

/// The USB device that this endpoint belongs to; null when that is not certain.
DeviceEntry* sameDevice(std::vector<DeviceEntry>& cabled, const FoundDevices& found,
                        const WiFiDiscovery::Endpoint& endpoint) {
    if (isLinkLocal(endpoint.host) && cabled.size() == 1) return &cabled.front();
    if (!endpoint.model) return nullptr;
    const auto isThatModel = [&](const auto& each) { return each.model == endpoint.model; };
    if (std::ranges::count_if(cabled, isThatModel) != 1) return nullptr;
    // A device that is announced on two addresses has one name.
    std::set<std::string> names;
    for (const auto& each : found.endpoints) {
        if (isThatModel(each)) names.insert(each.name);
    }
    return names.size() == 1 ? &*std::ranges::find_if(cabled, isThatModel) : nullptr;
}

void nameAll(std::vector<DeviceEntry>& entries) {
    for (DeviceEntry& entry : entries) {
        if (entry.name.empty()) entry.name = defaultName(entry.udid, entry.host, entry.model);
    }
    std::map<std::string, int> uses;
    for (const DeviceEntry& entry : entries) ++uses[entry.name];
    for (DeviceEntry& entry : entries) {
        if (uses[entry.name] > 1) entry.name += " (" + shortIdentifier(entry.udid, entry.host) + ")";
    }
}

}  // namespace

std::vector<DeviceEntry> deviceEntries(
    const FoundDevices& found, const std::function<std::optional<std::string>(const std::string&)>& modelOf) {
    std::vector<DeviceEntry> cabled = cabledEntries(found, modelOf);
    std::vector<DeviceEntry> wireless;
    for (const auto& endpoint : found.endpoints) {
        if (DeviceEntry* same = sameDevice(cabled, found, endpoint)) {
            if (!same->host) same->host = endpoint.host;
            if (same->name.empty()) same->name = endpoint.name;
            if (!same->model) same->model = endpoint.model;
        } else {
            wireless.push_back({endpoint.name, std::nullopt, endpoint.host, endpoint.model});
        }
    }
    cabled.insert(cabled.end(), wireless.begin(), wireless.end());
    nameAll(cabled);
    return cabled;
}

std::string defaultName(const std::optional<std::string>& udid, const std::optional<std::string>& host,
                        const std::optional<std::string>& model) {
    return std::string(kNamePrefix) + model.value_or(shortIdentifier(udid, host));
}

std::string logLabel(const DeviceEntry& entry) {
    std::string links = "?";
    if (entry.udid && entry.host) {
        links = "usb+wifi";
    } else if (entry.udid) {
        links = "usb";
    } else if (entry.host) {
        links = "wifi";
    }
    return onOneLine(entry.name) + " [" + links + "]";
}

std::string linksText(const DeviceEntry& entry) {
    if (entry.udid && entry.host) return "USB + Wi-Fi";
    return entry.udid ? "USB only" : "Wi-Fi only";
}

std::string choiceText(const DeviceEntry& entry) {
    return entry.udid.value_or("") + "|" + entry.host.value_or("");
}

Settings::Target targetOf(std::string_view choice) {
    const size_t bar = choice.find('|');
    const auto piece = [](std::string_view text) {
        return text.empty() ? std::nullopt : std::optional<std::string>(text);
    };
    if (bar == std::string_view::npos) return {piece(choice), std::nullopt};
    return {piece(choice.substr(0, bar)), piece(choice.substr(bar + 1))};
}

bool isTarget(const DeviceEntry& entry, const Settings::Target& target) {
    return (target.udid && target.udid == entry.udid) || (target.host && target.host == entry.host);
}

}  // namespace quillon
