#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/settings.hpp"
#include "transport/wifi_discovery.hpp"

namespace quillon {

/// One device that runs the companion app, and how it can be reached.
struct DeviceEntry {
    std::string name;                 ///< shown to the user
    std::optional<std::string> udid;  ///< reachable over USB
    std::optional<std::string> host;  ///< found over Wi-Fi
    std::optional<std::string> model;
    bool operator==(const DeviceEntry&) const = default;
};

/// What a look around has found.
struct FoundDevices {
    std::vector<std::string> udids;  ///< over USB, each with its app listening
    std::vector<WiFiDiscovery::Endpoint> endpoints;
};

/// One entry for each device: first those over USB, then those over Wi-Fi only, each in the order found.
///
/// An endpoint and a USB device are the same device when nothing else they could be is left: they are of the
/// same model (`modelOf` tells the model that a USB device had when it was last connected), and neither a
/// second USB device nor a second endpoint name is of that model; or the endpoint's address is link-local,
/// which is the network of a cable, and there is just one USB device. In doubt they stay apart: two rows for
/// one device are a smaller fault than one row for two.
///
/// Devices are called as they call themselves over Wi-Fi, otherwise "Quillon on " and their model or, when
/// that is unknown too, the end of their identifier. Entries of the same name get that end as well.
std::vector<DeviceEntry> deviceEntries(
    const FoundDevices& found, const std::function<std::optional<std::string>(const std::string&)>& modelOf);

/// What a device is called that does not name itself.
std::string defaultName(const std::optional<std::string>& udid, const std::optional<std::string>& host,
                        const std::optional<std::string>& model);

/// For the log: "name [usb+wifi]".
std::string logLabel(const DeviceEntry& entry);

/// How it can be reached, in words: "USB only", "Wi-Fi only", "USB + Wi-Fi".
std::string linksText(const DeviceEntry& entry);

/// The text by which a menu or the panel names a choice: udid and host around a "|", each empty when not
/// known; empty for Automatic.
std::string choiceText(const DeviceEntry& entry);
Settings::Target targetOf(std::string_view choice);

/// Is this the entry of the chosen device? One link that both know is enough: the other comes and goes.
bool isTarget(const DeviceEntry& entry, const Settings::Target& target);

}  // namespace quillon
