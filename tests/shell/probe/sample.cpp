#include "tests/shell/probe/sample.hpp"

#include <vector>

namespace quillon::testing {

namespace {

struct Option {
    const char* value;
    const char* label;
    const char* detail;
};

PanelRow row(const char* id, const char* title, const std::string& chosen,
             const std::vector<Option>& options) {
    PanelRow row{.id = id, .title = title};
    for (const Option& each : options) {
        row.pills.push_back({each.value, each.label, each.detail, "", each.value == chosen});
    }
    return row;
}

void describeState(PanelContent& content, const std::string& state) {
    using Dot = PanelContent::Dot;
    if (state == "wifi") {
        content.dot = Dot::runningOverWiFi;
        content.dotDescription = "Streaming over Wi-Fi";
        content.status = "Streaming over Wi-Fi (192.168.1.20)";
        content.statistics = "Wi-Fi · 27 fps · 6.2 Mbps · 31 ms · 14 drops";
    } else if (state == "starting") {
        content.dot = Dot::starting;
        content.dotDescription = "Connecting";
        content.status = "Starting…";
    } else if (state == "stopped") {
        content.dot = Dot::stopped;
        content.dotDescription = content.status = "Stopped";
    } else if (state == "failed") {
        content.dot = Dot::failed;
        content.dotDescription = "Failed";
        content.status =
            "Failed: iPad not reachable — is it plugged in, unlocked, and is the app open on it?";
    } else {
        content.dot = Dot::runningOverUSB;
        content.dotDescription = "Streaming over USB";
        content.status = "Streaming over USB";
        content.statistics = "USB · 30 fps · 4.2 Mbps · 8 ms · 0 drops";
    }
    const bool streams = state == "usb" || state == "wifi";
    content.streamButton = {"toggleStreaming", streams ? "Stop" : "Start",
                            streams ? "Stop Streaming" : "Start Streaming"};
}

}  // namespace

PanelContent samplePanel(const std::string& state, bool mirror) {
    PanelContent content;
    content.title = "Quillon";
    describeState(content, state);
    PanelRow mode = row("mode", "Mode", mirror ? "mirror" : "extend",
                        {{"extend", "Extend", ""}, {"mirror", "Mirror", ""}});
    mode.style = PanelRow::Style::segments;
    PanelRow device = row("device", "Device", "",
                          {{"", "Automatic", "whatever is there"},
                           {"tablet-1|", "Studio tablet", "USB only"},
                           {"|192.168.1.20", "Sofa", "Wi-Fi only"}});
    device.button = PanelButton{"rescan", "Scan Again", "Look for devices that run Quillon"};
    PanelRow resolution = row("resolution", "Resolution", "1024x768",
                              {{"1024x768", "1024x768", ""},
                               {"1112x834", "1112x834", ""},
                               {"1180x820", "1180x820", ""},
                               {"1194x834", "1194x834", ""},
                               {"1280x960", "1280x960", ""},
                               {"1366x1024", "1366x1024", ""}});
    if (mirror) resolution = {.id = "resolution", .title = "Resolution", .note = "not used when mirroring"};
    content.rows = {
        mode,
        device,
        resolution,
        row("quality", "Quality", "best",
            {{"best", "Best", "full detail"},
             {"balanced", "Balanced", "75% raster"},
             {"fast", "Fast", "50%, best for Wi-Fi"}}),
        row("scaling", "Scaling", "fit",
            {{"fit", "Fit", "whole screen, bars"},
             {"fill", "Fill", "crops the edges"},
             {"stretch", "Stretch", "fills, distorted"}}),
        row("smoothness", "Smoothness", "0",
            {{"0", "Off", "lowest latency"},
             {"3", "Smooth", "+~100 ms, less jerk"},
             {"6", "Smoother", "+~200 ms, uneven Wi-Fi"}}),
        row("transport", "Transport", "auto",
            {{"usb", "USB", "cable"},
             {"wifi", "Wi-Fi", "no cable"},
             {"auto", "Auto — prefer USB", "changes over by itself"}}),
        row("position", "Position", "right",
            {{"left", "Left", "of main display"},
             {"right", "Right", "of main display"},
             {"above", "Above", "main display"},
             {"below", "Below", "main display"}}),
    };
    content.switches = {{"toggleLaunchAtLogin", "Launch at Login", false},
                        {"togglePreventSleep", "Prevent Display from Sleep", false},
                        {"toggleAutoStart", "Connect on Launch", true},
                        {"toggleOverlay", "Overlay on iPad", true},
                        {"classicMenu", "Classic menu", false}};
    content.buttons = {{"wifiAddress", "Wi-Fi Address…"}};
    content.permissions = {
        {"Screen Recording", true, "Granted", {"openScreenRecordingSettings", "Open Settings"}},
        {"Accessibility", state != "failed", "Granted", {"openAccessibilitySettings", "Open Settings"}},
    };
    content.footer = {{"openLog", "Log"}, {"about", "About"}, {"quit", "Quit"}};
    return content;
}

Menu sampleMenu(const std::string& statusLine, const std::string& deviceName) {
    const auto item = [](std::string title, std::string action) {
        return MenuItem{.title = std::move(title), .action = std::move(action)};
    };
    MenuItem header = item("Quillon — " + statusLine, "");
    header.enabled = false;
    MenuItem extend = item("Extend Display", "extend");
    extend.key = "1";
    extend.checked = true;
    MenuItem mirror = item("Mirror Main Display", "mirror");
    mirror.key = "2";
    MenuItem device = item("Device — Automatic", "");
    MenuItem tablet = item(deviceName, "device");
    tablet.representedObject = "tablet-1|";
    tablet.toolTip = "USB only";
    device.submenu = {item("Automatic", "device"), tablet, MenuItem::separator(),
                      item("Scan Again", "rescan")};
    MenuItem stop = item("Stop Streaming", "stop");
    stop.key = ".";
    MenuItem quit = item("Quit Quillon", "quit");
    quit.key = "q";
    return {
        header, MenuItem::separator(), extend, mirror, MenuItem::separator(), device, MenuItem::separator(),
        stop,   MenuItem::separator(), quit};
}

}  // namespace quillon::testing
