#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/bytes.hpp"
#include "base/geometry.hpp"

namespace quillon::device {

/// A short H.264 stream as a host sends it.
struct VideoSample {
    Bytes parameterSets;        ///< length-prefixed
    std::vector<Bytes> frames;  ///< length-prefixed access units, the first one an IDR picture
};

/// Luma of the pixel (x, y) of frame `index`. Colour is neutral everywhere.
using LumaOf = std::function<uint8_t(int index, int x, int y)>;

/// Encodes with libx264 by way of libavcodec, without delay, with `slices` slices a picture. The sample is
/// empty when this machine's libavcodec has no such encoder.
VideoSample encodeSample(Size size, int frames, const LumaOf& lumaOf, int slices = 1);

}  // namespace quillon::device
