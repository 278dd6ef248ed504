#pragma once

#include <optional>
#include <string_view>

#include "base/geometry.hpp"
#include "base/stream_types.hpp"

namespace quillon::device {

/// What the settings line tells about the picture. A line that cannot be read gives the initial value.
struct SettingsLine {
    std::optional<Size> display;  ///< points; empty when an existing display is mirrored
    Scaling scaling = Scaling::fit;
    bool operator==(const SettingsLine&) const = default;
};

/// Reads a line such as "1024×768 | Smooth Off | Balanced | Fit".
SettingsLine parseSettingsLine(std::string_view line);

/// Where the host's display lies in the picture. The host scales it into the centre: with bars where the
/// shapes differ (fit), with its edges cut off (fill), or without regard to its shape (stretch). So each
/// axis is one stretch about the centre, and places convert with one formula. Places are fractions: 0..1
/// from left to right and from top to bottom.
class PictureLayout {
  public:
    /// The display fills the picture.
    PictureLayout() = default;
    PictureLayout(Size display, Size picture, Scaling scaling);

    Point displayAt(Point inPicture) const;
    Point pictureAt(Point onDisplay) const;

  private:
    double shareX_ = 1;  ///< width of the whole display in widths of the picture
    double shareY_ = 1;
};

}  // namespace quillon::device
