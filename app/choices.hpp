#pragma once

#include <array>
#include <string_view>

#include "base/stream_types.hpp"

namespace quillon {

/// One option of a row that both front ends offer: as the classic menu writes it, and as the panel does.
struct Choice {
    std::string_view value;  ///< what choosing it reports
    std::string_view menuTitle;
    std::string_view pill;
    std::string_view detail;
};

/// One of the session's own choices, which have their titles with them.
template <typename Value>
constexpr Choice offered(Value value, std::string_view pill, std::string_view detail) {
    return {namesOf(value).rawValue, namesOf(value).label, pill, detail};
}

inline constexpr std::array kQualityChoices{
    offered(StreamQuality::best, "Best", "full detail"),
    offered(StreamQuality::balanced, "Balanced", "75% raster"),
    offered(StreamQuality::fast, "Fast", "50%, best for Wi-Fi"),
};

inline constexpr std::array kScalingChoices{
    offered(Scaling::fit, "Fit", "whole screen, bars"),
    offered(Scaling::fill, "Fill", "crops the edges"),
    offered(Scaling::stretch, "Stretch", "fills, distorted"),
};

/// Frames that the device holds back: at 30 a second three of them are the 100 ms that the text promises.
inline constexpr std::array kSmoothnessChoices{
    Choice{"0", "Off — lowest latency", "Off", "lowest latency"},
    Choice{"3", "Smooth — +~100 ms, less jerk", "Smooth", "+~100 ms, less jerk"},
    Choice{"6", "Smoother — +~200 ms, for uneven Wi-Fi", "Smoother", "+~200 ms, uneven Wi-Fi"},
};

inline constexpr std::array kTransportChoices{
    offered(Transport::usb, "USB", "cable"),
    offered(Transport::wifi, "Wi-Fi", "no cable"),
    offered(Transport::auto_, "Auto — prefer USB", "changes over by itself"),
};

inline constexpr std::array kPositionChoices{
    Choice{"left", "Left", "Left", "of main display"},
    Choice{"right", "Right", "Right", "of main display"},
    Choice{"above", "Above", "Above", "main display"},
    Choice{"below", "Below", "Below", "main display"},
};

}  // namespace quillon
