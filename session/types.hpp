#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "base/geometry.hpp"
#include "base/stream_types.hpp"

namespace quillon {

/// A configured number as an `int`, which absurd ones do not fit.
inline int clampedToInt(int64_t value) {
    return static_cast<int>(
        std::clamp<int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

/// Everything a session needs to start. The initial values are those the application starts from
/// before it lays the user's settings over them; the command line fills the same record.
struct SessionConfig {
    std::string udid;      ///< USB device to connect to; empty: any
    uint16_t port = 5555;  ///< port on the device
    int64_t width = 2048;  ///< base raster, pixels; the panel's once it is known
    int64_t height = 1536;
    int64_t fps = 30;
    int64_t bitrate = 12'000'000;     ///< bits per second; the encoder takes the quality's instead
    int64_t wifiBitrate = 8'000'000;  ///< ceiling on Wi-Fi, bits per second
    bool pace = false;                ///< emit frames by a timer instead of as they come
    int64_t keyframeSeconds = 2;      ///< on Wi-Fi; over USB always 2
    int64_t smoothness = 0;           ///< frames of smoothing on the device
    bool showOverlay = true;
    Scaling scaling = Scaling::fit;
    bool scalingExplicit = false;                 ///< the user chose it; otherwise the panel's shape does
    StreamQuality quality = StreamQuality::best;  ///< in force for the current link
    StreamQuality qualityUSB = StreamQuality::best;
    StreamQuality qualityWiFi = StreamQuality::fast;
    int64_t smoothUSB = 0;
    int64_t smoothWiFi = 3;
    bool usePattern = false;
    bool virtual_ = true;            ///< stream a virtual display; otherwise an existing one
    std::string position = "right";  ///< of the virtual display beside the main one
    int64_t virtualWidth = 1024;     ///< points
    int64_t virtualHeight = 768;
    bool showCursor = true;
    int64_t duration = 0;  ///< seconds of streaming; 0: no limit
    bool mirror = false;
    bool stretchMirror = false;
    int64_t displayIndex = 0;               ///< existing display to stream without a virtual one
    std::optional<std::string> tcpHost;     ///< explicit host from the command line
    std::optional<std::string> targetUDID;  ///< the user's choice in the device list
    std::optional<std::string> targetHost;
    uint16_t tcpPort = 5555;
    Transport transport = Transport::usb;
    std::optional<std::string> wifiHost;  ///< fallback address entered by the user

    Size rasterSize() const { return {clampedToInt(width), clampedToInt(height)}; }
    Size virtualSize() const { return {clampedToInt(virtualWidth), clampedToInt(virtualHeight)}; }
};

/// What an observer sees of a session. A source is the screen's capture or the test pattern.
///
///                start                     a source runs
///     idle ─────────────────▶ starting ───────────────────▶ running
///       ▲                      │  ▲  ▲                       │  │ ▲
///       │ stop (from any)      │  │  └─ link lost, restart ───┘  │ │
///       └──────────────────    │  │                              │ │
///                              │  │ start, restart, link lost    │ │
///     no display, link,        ▼  │                              │ │
///     encoder or source       failed ◀─── no encoder or source ──┘ │
///                                └───── a retry's source runs ─────┘
///
/// A retry alone shows nothing: the failure stands until it has succeeded.
struct SessionState {
    enum class Kind { idle, starting, running, failed };
    Kind kind = Kind::idle;
    std::string text;  ///< of running and failed: for the user

    static SessionState idle() { return {}; }
    static SessionState starting() { return {Kind::starting, {}}; }
    static SessionState running(std::string description) { return {Kind::running, std::move(description)}; }
    static SessionState failed(std::string message) { return {Kind::failed, std::move(message)}; }

    bool isRunning() const { return kind == Kind::running; }
    bool operator==(const SessionState&) const = default;
};

/// The two ways to use a display, as the log calls them.
inline const char* modeName(bool mirror) {
    return mirror ? "mirror" : "extend";
}

/// One statistics sample.
struct SessionStats {
    double fps = 0;                    ///< frames sent per second
    double mbps = 0;                   ///< megabits sent per second
    std::optional<double> latencyP50;  ///< median round trip, milliseconds
    int64_t drops = 0;                 ///< frames the link had no room for
};

}  // namespace quillon
