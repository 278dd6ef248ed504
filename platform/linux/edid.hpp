#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/displays.hpp"
#include "platform/linux/video_timing.hpp"

namespace quillon {

/// The block in which a monitor says what it is (EDID 1.3, one block without extensions):
///
///     0  header 00 FF FF FF FF FF FF 00     20  kind of input, size in cm, gamma, features, colours
///     8  manufacturer, big-endian           35  standard timings, none
///    10  product, little-endian             54  the preferred timing
///    12  serial number, little-endian       72  ranges   90  name   108  filler
///    16  week, year, version               126  extensions, sum of all bytes is 0
using Edid = std::array<uint8_t, 128>;

/// What a monitor says of itself.
struct MonitorDescription {
    Displays::Identity identity;
    uint32_t serial = 0;
    std::string_view name;  ///< the first 13 characters are kept
    double widthMillimetres = 0;
    double heightMillimetres = 0;
    VideoTiming preferred;  ///< left out where the block's 12 bits are too few for it
    double refreshRate = 0;
};

Edid edidOf(const MonitorDescription& monitor);

/// Vendor and model; nothing (zeros) when this is no whole block.
Displays::Identity identityFromEdid(std::span<const uint8_t> edid);

}  // namespace quillon
