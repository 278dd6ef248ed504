#include "app/classic_menu.hpp"

#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "app/choices.hpp"
#include "base/stream_types.hpp"

namespace quillon {

namespace {

MenuItem action(std::string title, std::string name, std::string key = {}) {
    return {.title = std::move(title), .action = std::move(name), .key = std::move(key)};
}

MenuItem toggle(std::string title, std::string name, bool checked, std::string key = {}) {
    MenuItem item = action(std::move(title), std::move(name), std::move(key));
    item.checked = checked;
    return item;
}

/// There to be read.
MenuItem text(std::string title) {
    return {.title = std::move(title), .enabled = false};
}

MenuItem parent(std::string title, Menu submenu) {
    return {.title = std::move(title), .submenu = std::move(submenu)};
}

MenuItem choice(std::string title, std::string name, std::string value, bool chosen) {
    MenuItem item = toggle(std::move(title), std::move(name), chosen);
    item.representedObject = std::move(value);
    return item;
}

Menu choices(std::span<const Choice> all, const std::string& name, std::string_view current) {
    Menu menu;
    for (const Choice& each : all) {
        menu.push_back(
            choice(std::string(each.menuTitle), name, std::string(each.value), each.value == current));
    }
    return menu;
}

/// What the current value is called in the title of its submenu.
template <typename Names>
std::string shortName(const Names& all, std::string_view current) {
    const auto value = choiceOf(all, current);
    return value ? std::string(namesOf(*value).logName) : std::string(current);
}

std::string transportName(std::string_view transport) {
    if (transport == "usb") return "USB";
    return transport == "wifi" ? "Wi-Fi" : "Auto";
}

std::string positionName(const std::string& position) {
    for (const Choice& each : kPositionChoices) {
        if (each.value == position) return std::string(each.menuTitle);
    }
    return position;
}

Menu deviceMenu(const PopoverSnapshot& snapshot) {
    Menu menu;
    for (size_t i = 0; i < snapshot.deviceLabels.size(); ++i) {
        MenuItem item = choice(snapshot.deviceLabels[i], "chooseDevice", snapshot.deviceValues[i],
                               static_cast<int64_t>(i) == snapshot.selectedDevice);
        item.toolTip = snapshot.deviceDetails[i];
        menu.push_back(std::move(item));
    }
    if (menu.size() <= 1) menu.push_back(text("No devices running Quillon"));
    menu.push_back(MenuItem::separator());
    menu.push_back(action("Scan Again", "rescanDevices"));
    return menu;
}

MenuItem resolutionItem(const PopoverSnapshot& snapshot) {
    if (snapshot.mirror) return text("Resolution — not used when mirroring");
    Menu menu;
    for (const std::string& size : snapshot.resolutions) {
        menu.push_back(choice(size, "setResolutionFromMenu", size, size == snapshot.resolution));
    }
    return parent("Resolution — " + snapshot.resolution, std::move(menu));
}

MenuItem permissionItem(const std::string& name, const std::string& which, bool granted, bool asked) {
    if (granted) return text(name + " — " + (asked ? "Granted" : "Always granted"));
    MenuItem item = action(name + " — Not granted", "openPrivacySettings");
    item.representedObject = which;
    return item;
}

Menu preferences(const PopoverSnapshot& snapshot) {
    return {
        toggle("Launch at Login", "toggleLaunchAtLogin", snapshot.launchAtLogin),
        toggle("Prevent Display from Sleep", "togglePreventSleep", snapshot.preventSleep),
        toggle("Connect on Launch", "toggleAutoStart", snapshot.autoStart),
        toggle("Popover menu", "togglePopoverUI", snapshot.popover),
        permissionItem("Screen Recording", "screenRecording", snapshot.screenRecording,
                       snapshot.permissionsAsked),
        permissionItem("Accessibility", "accessibility", snapshot.accessibility, snapshot.permissionsAsked),
        toggle("Overlay on iPad", "toggleOverlay", snapshot.overlay),
        action("Wi-Fi Address…", "setWiFiAddress"),
    };
}

}  // namespace

Menu classicMenu(const PopoverSnapshot& snapshot) {
    MenuItem header = text("Quillon — " + snapshot.status);
    header.toolTip = snapshot.flow;
    MenuItem stop = action("Stop Streaming", "stopStreaming", ".");
    stop.enabled = snapshot.streaming;

    return {
        header,
        MenuItem::separator(),
        toggle("Extend Display", "chooseExtend", !snapshot.mirror, "1"),
        toggle("Mirror Main Display", "chooseMirror", snapshot.mirror, "2"),
        MenuItem::separator(),
        parent("Device — " + snapshot.deviceName, deviceMenu(snapshot)),
        MenuItem::separator(),
        resolutionItem(snapshot),
        parent("Quality — " + shortName(kStreamQualities, snapshot.quality),
               choices(kQualityChoices, "setQualityFromMenu", snapshot.quality)),
        parent("Scaling — " + shortName(kScalings, snapshot.scaling),
               choices(kScalingChoices, "setScalingFromMenu", snapshot.scaling)),
        parent(std::string("Smoothness — ") + (snapshot.smoothness == "0" ? "Off" : "Smooth"),
               choices(kSmoothnessChoices, "setSmoothingFromMenu", snapshot.smoothness)),
        MenuItem::separator(),
        parent("Transport — " + transportName(snapshot.transport),
               choices(kTransportChoices, "setTransportFromMenu", snapshot.transport)),
        parent("Position — " + positionName(snapshot.position),
               choices(kPositionChoices, "setPositionFromMenu", snapshot.position)),
        MenuItem::separator(),
        stop,
        MenuItem::separator(),
        parent("Preferences", preferences(snapshot)),
        action("Open Log", "openLog"),
        action("About Quillon", "showAbout"),
        action("Quit Quillon", "quit", "q"),
    };
}

}  // namespace quillon
