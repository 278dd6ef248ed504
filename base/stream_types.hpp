#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace quillon {

/// How much of the configured raster is encoded, and at which bit rate.
enum class StreamQuality { best, balanced, fast };

/// How the captured picture is fitted to the device's panel when their shapes differ.
enum class Scaling { fit, fill, stretch };

/// Which link the session uses.
enum class Transport { usb, wifi, auto_ };

/// What a choice is called: in settings and on the command line, in menus, and in log lines.
template <typename Choice>
struct ChoiceNames {
    Choice value;
    std::string_view rawValue;
    std::string_view label;
    std::string_view logName;
};

inline constexpr std::array<ChoiceNames<StreamQuality>, 3> kStreamQualities{{
    {StreamQuality::best, "best", "Best — full detail", "Best"},
    {StreamQuality::balanced, "balanced", "Balanced — 75% raster", "Balanced"},
    {StreamQuality::fast, "fast", "Fast — 50%, best for Wi-Fi", "Fast"},
}};

inline constexpr std::array<ChoiceNames<Scaling>, 3> kScalings{{
    {Scaling::fit, "fit", "Fit — whole screen, bars where shapes differ", "Fit (bars)"},
    {Scaling::fill, "fill", "Fill — crop to the panel, loses edges", "Fill (crop)"},
    {Scaling::stretch, "stretch", "Stretch — fills, distorted", "Stretch"},
}};

inline constexpr std::array<ChoiceNames<Transport>, 3> kTransports{{
    {Transport::usb, "usb", "USB (cable)", "usb"},
    {Transport::wifi, "wifi", "Wi-Fi", "wifi"},
    {Transport::auto_, "auto", "Auto (prefer USB)", "auto"},
}};

constexpr const auto& namesOf(StreamQuality value) {
    return kStreamQualities[static_cast<size_t>(value)];
}
constexpr const auto& namesOf(Scaling value) {
    return kScalings[static_cast<size_t>(value)];
}
constexpr const auto& namesOf(Transport value) {
    return kTransports[static_cast<size_t>(value)];
}

template <typename Choice>
constexpr std::string_view rawValue(Choice value) {
    return namesOf(value).rawValue;
}

/// The choice whose raw value equals the whole text, case included.
template <typename Choice, size_t count>
constexpr std::optional<Choice> choiceOf(const std::array<ChoiceNames<Choice>, count>& all,
                                         std::string_view text) {
    for (const auto& names : all) {
        if (names.rawValue == text) return names.value;
    }
    return std::nullopt;
}

constexpr std::optional<StreamQuality> parseStreamQuality(std::string_view text) {
    return choiceOf(kStreamQualities, text);
}
constexpr std::optional<Scaling> parseScaling(std::string_view text) {
    return choiceOf(kScalings, text);
}
constexpr std::optional<Transport> parseTransport(std::string_view text) {
    return choiceOf(kTransports, text);
}

/// Encoded share of the configured width and height.
constexpr double rasterFraction(StreamQuality quality) {
    return std::array{1.0, 0.75, 0.5}[static_cast<size_t>(quality)];
}

/// Encoder bit rate in bits per second.
constexpr int bitrateOf(StreamQuality quality) {
    return std::array{18'000'000, 10'000'000, 6'000'000}[static_cast<size_t>(quality)];
}

}  // namespace quillon
