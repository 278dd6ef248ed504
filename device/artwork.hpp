#pragma once

#include <string>
#include <vector>

#include "device/rgb_picture.hpp"

// What the device draws itself, over the host's picture. All pictures here have straight alpha.

namespace quillon::device {

/// An arrow whose tip is its top-left pixel.
RgbPicture drawPointer(int height);

/// Lines of text, left aligned, on a dark rounded panel.
RgbPicture drawPanel(const std::vector<std::string>& lines, double fontPixels);

/// How tall the pointer is on a picture that the user sees so tall.
int pointerHeight(int pictureHeight);

/// Lays `sprite` over `picture` with its top-left pixel at (x, y); what lies outside is left out.
void blend(RgbPicture& picture, const RgbPicture& sprite, int x, int y);

}  // namespace quillon::device
