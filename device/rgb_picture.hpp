#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "device/video_decoder.hpp"

namespace quillon::device {

/// A picture of 32-bit pixels: blue, green, red, alpha in memory, rows without gaps.
struct RgbPicture {
    Size size;
    std::vector<uint8_t> pixels;
    int stride() const { return size.width * 4; }
};

/// Converts by BT.601, limited range.
RgbPicture toRgb(const DecodedPicture& picture);

/// Writes the colours, without alpha, as a PNG file. Throws std::runtime_error with the reason.
void writePng(const RgbPicture& picture, const std::string& file);

}  // namespace quillon::device
