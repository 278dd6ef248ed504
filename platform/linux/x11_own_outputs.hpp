#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/linux/edid.hpp"
#include "platform/linux/x11_screen.hpp"

namespace quillon {

// An output that serves as a virtual display is told from others by what it carries:
//
//   modes named quillon-OUTPUT-WIDTHxHEIGHT   it is, or was, a virtual display
//   property EDID                             the identity by which every program knows the monitor
//   property _QUILLON_DISPLAY                 how the screen was before, for the way back
//   selection _QUILLON_DISPLAY_OUTPUT         owned by the client that holds it
//
// The server itself gives up a selection when its owner's connection ends, however it ends. So an output that
// carries our modes while nobody owns its selection is a leftover, and whoever finds one may take it back.

std::string ownModeName(uint32_t output, Size size);
bool isOwnMode(const X11Screen::Mode& mode, uint32_t output);
bool hasOwnModes(const X11Screen& screen, const X11Screen::Output& output);

/// The outputs that are virtual displays or leftovers, also those that are gone but for their modes.
std::vector<uint32_t> ownOutputs(const X11Screen& screen);

/// The outputs of one server as virtual displays. One thread; what changes something wants a ServerGrab.
class X11OwnOutputs {
  public:
    explicit X11OwnOutputs(const X11Connection& connection);

    /// Takes it for `window`; it is held as long as that exists.
    void hold(uint32_t output, xcb_window_t window) const;
    void release(uint32_t output) const { hold(output, XCB_NONE); }
    bool isHeld(uint32_t output) const;

    /// For each of the outputs: has a monitor said what it is?
    std::vector<bool> haveEdid(std::span<const X11Screen::Output> outputs) const;

    /// Remembers on the output how the screen is now, and tells what monitor it is from now on.
    void declare(uint32_t output, const X11Screen& now, const Edid& edid, Size millimetres) const;

    /// Turns it off and undoes everything that made it a virtual display. The screen gets its former size
    /// unless other outputs have changed. Harmless when nothing of it is left.
    void takeBack(uint32_t output) const;

  private:
    struct Before;
    std::optional<Before> before(uint32_t output) const;
    std::optional<uint32_t> number(uint32_t output, xcb_atom_t property) const;
    void setNumber(uint32_t output, xcb_atom_t property, uint32_t value) const;
    xcb_atom_t selection(uint32_t output) const;

    const X11Connection& connection_;
    xcb_atom_t edid_ = 0;
    xcb_atom_t mark_ = 0;
    xcb_atom_t width_ = 0;  ///< some drivers take a monitor's millimetres from these
    xcb_atom_t height_ = 0;
};

/// Takes back every virtual display of this screen that nobody holds.
void removeLeftovers(const X11Connection& connection, const X11Screen& screen);

}  // namespace quillon
