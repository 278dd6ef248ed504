#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/geometry.hpp"

namespace quillon {

/// What one CRTC of an X screen shows: a mode at a place on the root window, on one or more outputs.
/// Without a mode it is free.
struct X11Crtc {
    uint32_t id = 0;
    PixelRect place;  ///< as the desktop sees it: turned and scaled
    uint32_t mode = 0;
    uint16_t rotation = 1;  ///< RandR's rotation and reflection bits
    std::vector<uint32_t> outputs;

    bool isActive() const { return mode != 0; }
    bool operator==(const X11Crtc&) const = default;
};

/// The arrangement of an X screen. Its rules know no server: a change is thought out here and then made by
/// `reconfigure` in one step.
///
/// An X screen begins at 0,0 and ends where its size says. So a display that is wanted left of or above
/// another one moves all others: `settle` shifts the whole layout, and relative places stay as they are.
struct X11Layout {
    std::vector<X11Crtc> crtcs;
    Size size;         ///< of the root window
    Size millimetres;  ///< the same; it tells programs the density

    /// The CRTC that drives the output; null when it is off.
    const X11Crtc* crtcOf(uint32_t output) const;
    X11Crtc* crtcOf(uint32_t output);

    /// From 0,0 to the farthest edges of what is active.
    Size extent() const;

    /// Takes the output off its CRTC; the CRTC becomes free when it was the only one.
    void turnOff(uint32_t output);

    /// Gives an output that shares a CRTC one of its own, of those that it can use. False when none of them
    /// is free. The output shows the same as before.
    bool separate(uint32_t output, std::span<const uint32_t> usable);

    /// The first of `usable` that shows nothing; null when there is none.
    X11Crtc* freeCrtc(std::span<const uint32_t> usable);
    const X11Crtc* freeCrtc(std::span<const uint32_t> usable) const;

    /// Shifts everything so that the leftmost and topmost edges are at 0, and fits the screen's size to it,
    /// at the density as it was. A screen that shows nothing keeps its size.
    void settle();
};

/// `place` in another size: the edges that face `main` stay.
PixelRect resized(const PixelRect& place, Size size, const PixelRect& main);

/// `wanted`, or where it comes to lie when it is pushed away from `main` until it covers none of `others` and
/// not `main`. What covers `main` is pushed to the right.
PixelRect clearOfOthers(PixelRect wanted, const PixelRect& main, std::span<const PixelRect> others);

}  // namespace quillon
