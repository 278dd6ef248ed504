#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/displays.hpp"

namespace quillon {

// What the modes for displays print about them.

/// A display with everything known about it, in one line.
std::string displayText(Displays& displays, DisplayID display);

/// Size in points, and in parentheses in pixels.
std::string modeText(const DisplayMode& mode);

/// "[1, 2]"
std::string listText(const std::vector<DisplayID>& displays);

/// A size from the command line, which may be any two numbers; empty when no display has it.
Size displaySize(int64_t width, int64_t height);

/// The pixels of so many points at twice the density.
inline Size doubled(Size size) {
    return {2 * size.width, 2 * size.height};
}

}  // namespace quillon
