#pragma once

#include <array>
#include <string_view>

namespace quillon {

/// One option of a row that both front ends offer: as the classic menu writes it, and as the panel does.
struct Choice {
    std::string_view value;  ///< what choosing it reports
    std::string_view menuTitle;
    std::string_view pill;
    std::string_view detail;
};

inline constexpr std::array kQualityChoices{
    Choice{"best", "Best — full detail", "Best", "full detail"},
    Choice{"balanced", "Balanced — 75% raster", "Balanced", "75% raster"},
    Choice{"fast", "Fast — 50%, best for Wi-Fi", "Fast", "50%, best for Wi-Fi"},
};

inline constexpr std::array kScalingChoices{
    Choice{"fit", "Fit — whole screen, bars where shapes differ", "Fit", "whole screen, bars"},
    Choice{"fill", "Fill — crop to the panel, loses edges", "Fill", "crops the edges"},
    Choice{"stretch", "Stretch — fills, distorted", "Stretch", "fills, distorted"},
};

/// Frames that the device holds back: at 30 a second three of them are the 100 ms that the text promises.
inline constexpr std::array kSmoothnessChoices{
    Choice{"0", "Off — lowest latency", "Off", "lowest latency"},
    Choice{"3", "Smooth — +~100 ms, less jerk", "Smooth", "+~100 ms, less jerk"},
    Choice{"6", "Smoother — +~200 ms, for uneven Wi-Fi", "Smoother", "+~200 ms, uneven Wi-Fi"},
};

inline constexpr std::array kTransportChoices{
    Choice{"usb", "USB (cable)", "USB", "cable"},
    Choice{"wifi", "Wi-Fi", "Wi-Fi", "no cable"},
    Choice{"auto", "Auto (prefer USB)", "Auto — prefer USB", "changes over by itself"},
};

inline constexpr std::array kPositionChoices{
    Choice{"left", "Left", "Left", "of main display"},
    Choice{"right", "Right", "Right", "of main display"},
    Choice{"above", "Above", "Above", "main display"},
    Choice{"below", "Below", "Below", "main display"},
};

}  // namespace quillon
