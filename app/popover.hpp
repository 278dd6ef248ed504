#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/types.hpp"

namespace quillon {

/// Everything that the front ends show, at one moment. Made by the application delegate, which knows where it
/// all comes from; the panel and the classic menu are drawn from it and from nothing else.
struct PopoverSnapshot {
    std::string status;
    std::string stats;  ///< empty when there are none
    std::string link;   ///< the active link in the session's words; empty without one
    bool streaming = false;
    bool mirror = false;
    std::vector<std::string> deviceLabels;  ///< "Automatic" first
    std::vector<std::string> deviceValues;  ///< what choosing the label of the same place reports
    int64_t selectedDevice = 0;             ///< a place in both; -1 when the chosen device is not listed
    std::string resolution;                 ///< width "x" height
    std::vector<std::string> resolutions;
    std::string quality;  ///< raw value, as the next three
    std::string scaling;
    std::string smoothness;  ///< decimal
    std::string transport;
    std::string position;
    bool launchAtLogin = false;
    bool preventSleep = false;
    bool autoStart = false;
    bool overlay = false;
    bool screenRecording = false;
    bool accessibility = false;

    // What the menu shows besides, and what the panel's dot and lines need.
    SessionState::Kind state = SessionState::Kind::idle;
    std::string flow;                        ///< why the picture is as fast as it is; empty without a stream
    std::string deviceName;                  ///< the chosen device's, or "Automatic"
    std::vector<std::string> deviceDetails;  ///< the links of each device label; empty for "Automatic"
    bool popover = true;                     ///< the front end that the status item opens
    bool permissionsAsked = true;            ///< does the system ask users for permissions at all?
    std::string notice;                      ///< something to tell once; empty: nothing

    bool operator==(const PopoverSnapshot&) const = default;
};

/// One thing that the user did in the panel.
struct PopoverChange {
    enum class Kind {
        mode,
        device,
        resolution,
        quality,
        scaling,
        smoothness,
        transport,
        position,
        toggleStreaming,
        rescan,
        openLog,
        about,
        quit,
        classicMenu,
        toggleLaunchAtLogin,
        togglePreventSleep,
        toggleAutoStart,
        toggleOverlay,
        wifiAddress,
        openScreenRecordingSettings,
        openAccessibilitySettings,
    };
    Kind kind = Kind::rescan;
    std::string value{};  ///< of the choices from `device` to `position`
    bool mirror = false;  ///< of `mode`
    bool operator==(const PopoverChange&) const = default;
};

}  // namespace quillon
