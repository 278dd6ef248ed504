#pragma once

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "base/geometry.hpp"
#include "base/stream_types.hpp"

// Where a finger on a panel should land, worked out apart from the device's own arithmetic.

namespace quillon::testing {

/// Where the picture shows the display, on one axis of the panel: panel = start + display * scale.
struct Axis {
    double start = 0;
    double scale = 1;
};

/// As a user sees it: whole and centred with bars, cropped and centred, or distorted.
inline std::pair<Axis, Axis> shownOn(Size panel, Size display, Scaling scaling) {
    const double across = 1.0 * panel.width / display.width;
    const double down = 1.0 * panel.height / display.height;
    if (scaling == Scaling::stretch) return {{0, across}, {0, down}};
    const double scale = scaling == Scaling::fit ? std::min(across, down) : std::max(across, down);
    return {{(panel.width - display.width * scale) / 2, scale},
            {(panel.height - display.height * scale) / 2, scale}};
}

/// Five pixels of a panel's axis, all on the display: its first and last ones, and three between.
inline std::vector<int> touchedPixels(const Axis& axis, int panel, int display) {
    const int first = static_cast<int>(std::ceil(std::max(0.0, axis.start)));
    const int last =
        static_cast<int>(std::floor(std::min<double>(panel, axis.start + display * axis.scale))) - 1;
    return {first, first + (last - first) / 4, (first + last) / 2, first + (last - first) * 3 / 4, last};
}

}  // namespace quillon::testing
