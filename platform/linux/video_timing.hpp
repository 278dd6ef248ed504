#pragma once

#include <cstdint>
#include <optional>

#include "base/geometry.hpp"

namespace quillon {

/// How a picture of some size is sent line by line: the numbers of a modeline. Each counts from the left
/// edge, or from the top, of the visible part.
struct VideoTiming {
    struct Axis {
        uint16_t visible = 0;
        uint16_t syncBegin = 0;
        uint16_t syncEnd = 0;
        uint16_t total = 0;
        bool operator==(const Axis&) const = default;
    };
    Axis across;
    Axis down;
    uint32_t pixelClock = 0;  ///< Hz
    bool operator==(const VideoTiming&) const = default;
};

/// A timing of exactly this size, with the short pauses that are enough without a cathode ray. Nothing for a
/// size or a refresh rate (Hz) that no timing can have.
std::optional<VideoTiming> videoTiming(Size size, double refreshRate);

}  // namespace quillon
