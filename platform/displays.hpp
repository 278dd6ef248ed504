#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/geometry.hpp"

namespace quillon {

/// Names one display for as long as it exists; 0 is none. On macOS the CoreGraphics display ID, on X11
/// the RandR output.
using DisplayID = uint32_t;

/// One way a display can be driven: its size in points, and the pixel width that tells its density.
struct DisplayMode {
    int width = 0;
    int height = 0;
    int pixelWidth = 0;
    int pixelHeight = 0;
    uint32_t token = 0;  ///< the platform's own name for it
    bool operator==(const DisplayMode&) const = default;
};

/// The desktop's displays. Any thread. Nothing here throws: a display that is gone, or a display
/// server that is, answers with nothing.
class Displays {
  public:
    virtual ~Displays() = default;

    /// The active displays in the system's order.
    virtual std::vector<DisplayID> active() = 0;

    /// The main display, 0 when there is none.
    virtual DisplayID main() = 0;

    /// Place and size on the desktop in points, the main display's corner being the origin. Empty
    /// when there is no such display.
    virtual Rect bounds(DisplayID display) = 0;

    /// Vendor and model number of the monitor (EDID); 0 when unknown.
    struct Identity {
        uint32_t vendor = 0;
        uint32_t model = 0;
        bool operator==(const Identity&) const = default;
    };
    virtual Identity identity(DisplayID display) = 0;

    /// All modes in the system's order.
    virtual std::vector<DisplayMode> modes(DisplayID display) = 0;
    virtual std::optional<DisplayMode> currentMode(DisplayID display) = 0;
    /// Drives it by one of its modes, which may take hundreds of milliseconds. False when that was refused.
    virtual bool setMode(DisplayID display, const DisplayMode& mode) = 0;

    /// Is it in a mirror set; if so, `mirrors` names the display it shows (0 when it is the source).
    struct Mirroring {
        bool inMirrorSet = false;
        DisplayID mirrors = 0;
    };
    virtual Mirroring mirroring(DisplayID display) = 0;
    /// Takes it out of its mirror set, for this login session only. False when that was refused.
    virtual bool stopMirroring(DisplayID display) = 0;

    /// Moves its origin, for this login session only. False when the configuration cannot begin.
    virtual bool setOrigin(DisplayID display, int x, int y) = 0;
};

}  // namespace quillon
