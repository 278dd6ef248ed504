#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "base/geometry.hpp"
#include "base/stream_types.hpp"
#include "platform/displays.hpp"

// What is chosen for the virtual display, as functions of what is known: nothing here asks a display or
// changes one. Sizes of desktops ("resolutions") are in points, sizes of panels in pixels.

namespace quillon {

/// The mode for a desktop of `size`: the first at twice the density, else the first at the plain one.
std::optional<DisplayMode> modeFor(const std::vector<DisplayMode>& modes, Size size);

/// Is it shown with two pixels for each point?
inline bool isHiDPI(const DisplayMode& mode) {
    return mode.pixelWidth == 2 * mode.width;
}

/// The different sizes of `modes`, by width, in the order of the modes where widths are equal. When the
/// panel is known, only those that fit it upright or lying: never more points than the panel has pixels.
std::vector<Size> resolutionsFor(const std::vector<DisplayMode>& modes, std::optional<Size> panel);

/// The resolution whose shape is nearest to the panel's; of equally near ones the largest. Those that leave
/// a fifth of the panel's longer side are preferred to all others: text in panel pixels is too small to
/// read. Nothing when none fits the panel.
std::optional<Size> resolutionFollowing(const std::vector<Size>& resolutions, Size panel);

/// Width divided by height; a height below 1 counts as 1.
double aspect(Size size);

/// The left-top corner of a display of `size` on that side of the main display: "left", "above", "below",
/// and to the right for anything else.
Point originBeside(const Rect& main, std::string_view position, Size size);

/// Fill when the shapes of panel and desktop differ by more than a quarter, otherwise fit; nothing when a
/// size is empty.
std::optional<Scaling> automaticScaling(Size panel, Size desktop);

}  // namespace quillon
