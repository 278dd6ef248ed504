#include "app/popover_content.hpp"

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "app/choices.hpp"
#include "session/encoder_plan.hpp"

namespace quillon {

namespace {

using Kind = PopoverChange::Kind;

/// What each change's control is called, in the order of the changes.
constexpr std::array<std::string_view, 21> kControls{
    "mode",
    "device",
    "resolution",
    "quality",
    "scaling",
    "smoothness",
    "transport",
    "position",
    "toggleStreaming",
    "rescan",
    "openLog",
    "about",
    "quit",
    "classicMenu",
    "toggleLaunchAtLogin",
    "togglePreventSleep",
    "toggleAutoStart",
    "toggleOverlay",
    "wifiAddress",
    "openScreenRecordingSettings",
    "openAccessibilitySettings",
};

std::string control(Kind kind) {
    return std::string(kControls[static_cast<size_t>(kind)]);
}

PanelButton button(Kind kind, std::string label, std::string toolTip = {}) {
    return {control(kind), std::move(label), std::move(toolTip)};
}

PanelContent::Dot dotOf(const PopoverSnapshot& snapshot) {
    using Dot = PanelContent::Dot;
    switch (snapshot.state) {
        case SessionState::Kind::running:
            return isWiFi(snapshot.link) ? Dot::runningOverWiFi : Dot::runningOverUSB;
        case SessionState::Kind::failed:
            return Dot::failed;
        case SessionState::Kind::starting:
            return Dot::starting;
        case SessionState::Kind::idle:
            break;
    }
    return Dot::stopped;
}

std::string describe(PanelContent::Dot dot) {
    static constexpr std::array kWords{"Stopped", "Connecting", "Streaming over USB", "Streaming over Wi-Fi",
                                       "Failed"};
    return kWords[static_cast<size_t>(dot)];
}

PanelRow row(Kind kind, std::string title, std::span<const Choice> choices, std::string_view current) {
    PanelRow row{.id = control(kind), .title = std::move(title)};
    for (const Choice& each : choices) {
        row.pills.push_back({.value = std::string(each.value),
                             .label = std::string(each.pill),
                             .detail = std::string(each.detail),
                             .selected = each.value == current});
    }
    return row;
}

PanelRow modeRow(bool mirror) {
    PanelRow row{.id = control(Kind::mode), .title = "Mode", .style = PanelRow::Style::segments};
    row.pills.push_back(
        {.value = "extend", .label = "Extend", .toolTip = "Extend Display", .selected = !mirror});
    row.pills.push_back(
        {.value = "mirror", .label = "Mirror", .toolTip = "Mirror Main Display", .selected = mirror});
    return row;
}

PanelRow deviceRow(const PopoverSnapshot& snapshot) {
    PanelRow row{.id = control(Kind::device), .title = "Device"};
    for (size_t i = 0; i < snapshot.deviceLabels.size(); ++i) {
        row.pills.push_back({.value = snapshot.deviceValues[i],
                             .label = snapshot.deviceLabels[i],
                             .detail = snapshot.deviceDetails[i],
                             .selected = static_cast<int64_t>(i) == snapshot.selectedDevice});
    }
    row.button = button(Kind::rescan, "Scan Again", "Look for devices that run Quillon");
    return row;
}

PanelRow resolutionRow(const PopoverSnapshot& snapshot) {
    PanelRow row{.id = control(Kind::resolution), .title = "Resolution"};
    if (snapshot.mirror) {
        row.note = "not used when mirroring";
        return row;
    }
    for (const std::string& size : snapshot.resolutions) {
        row.pills.push_back({.value = size, .label = size, .selected = size == snapshot.resolution});
    }
    return row;
}

PanelPermission permission(const std::string& label, bool granted, Kind settings, bool asked) {
    PanelPermission permission{
        .label = label,
        .granted = granted,
        .text = granted ? "Granted" : "",
        .button = button(settings, "Open Settings", "Open the system's settings for " + label),
    };
    if (granted && !asked) permission.toolTip = "This desktop asks for no such permission.";
    return permission;
}

}  // namespace

PanelContent panelContent(const PopoverSnapshot& snapshot) {
    PanelContent content;
    content.title = "Quillon";
    content.dot = dotOf(snapshot);
    content.dotDescription = describe(content.dot);
    content.status = snapshot.status;
    content.statistics = snapshot.flow.empty() ? snapshot.stats : snapshot.flow;
    content.notice = snapshot.notice;
    content.streamButton = button(Kind::toggleStreaming, snapshot.streaming ? "Stop" : "Start",
                                  snapshot.streaming ? "Stop Streaming" : "Start Streaming");
    content.rows = {
        modeRow(snapshot.mirror),
        deviceRow(snapshot),
        resolutionRow(snapshot),
        row(Kind::quality, "Quality", kQualityChoices, snapshot.quality),
        row(Kind::scaling, "Scaling", kScalingChoices, snapshot.scaling),
        row(Kind::smoothness, "Smoothness", kSmoothnessChoices, snapshot.smoothness),
        row(Kind::transport, "Transport", kTransportChoices, snapshot.transport),
        row(Kind::position, "Position", kPositionChoices, snapshot.position),
    };
    content.switches = {
        {control(Kind::toggleLaunchAtLogin), "Launch at Login", snapshot.launchAtLogin},
        {control(Kind::togglePreventSleep), "Prevent Display from Sleep", snapshot.preventSleep},
        {control(Kind::toggleAutoStart), "Connect on Launch", snapshot.autoStart},
        {control(Kind::toggleOverlay), "Overlay on iPad", snapshot.overlay},
        {control(Kind::classicMenu), "Classic menu", !snapshot.popover},
    };
    content.buttons = {button(Kind::wifiAddress, "Wi-Fi Address…")};
    content.permissions = {
        permission("Screen Recording", snapshot.screenRecording, Kind::openScreenRecordingSettings,
                   snapshot.permissionsAsked),
        permission("Accessibility", snapshot.accessibility, Kind::openAccessibilitySettings,
                   snapshot.permissionsAsked),
    };
    content.footer = {button(Kind::openLog, "Log"), button(Kind::about, "About"), button(Kind::quit, "Quit")};
    return content;
}

std::optional<PopoverChange> popoverChange(const PanelChange& change) {
    for (size_t i = 0; i < kControls.size(); ++i) {
        if (kControls[i] != change.control) continue;
        const Kind kind = static_cast<Kind>(i);
        if (kind == Kind::mode) return PopoverChange{.kind = kind, .mirror = change.value == "mirror"};
        return PopoverChange{.kind = kind, .value = change.value};
    }
    return std::nullopt;
}

}  // namespace quillon
