#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/geometry.hpp"
#include "platform/displays.hpp"
#include "platform/linux/x11_connection.hpp"
#include "platform/linux/x11_screen.hpp"

namespace quillon {

/// One display of an X screen: an active RandR output, or the whole root window without RandR.
struct X11Output {
    DisplayID id = 0;  ///< the RandR output, or the root window
    PixelRect place;   ///< on the root window
    DisplayMode mode;
    std::vector<DisplayMode> modes;  ///< as the desktop sees them: turned with the display

    bool operator==(const X11Output&) const = default;
};

/// The displays of one screen at one time. Without a main display the list is empty.
struct X11Desktop {
    std::vector<X11Output> outputs;  ///< in the server's order
    DisplayID main = 0;              ///< the primary output, else the first that is no virtual display

    const X11Output* find(DisplayID id) const;
    /// The main display's corner on the root window: the origin of desktop coordinates.
    PixelRect mainPlace() const;
};

/// Asks the server; empty when it is gone. A few round trips.
X11Desktop readDesktop(const X11Connection& connection);

/// What of a screen is seen as the desktop.
X11Desktop desktopOf(const X11Screen& screen);

/// Is the server only a bridge into a Wayland session (Xwayland)? Its root window shows nothing then. It is
/// told by the names that it gives its outputs.
bool isWaylandBridge(const X11Screen& screen);
bool isWaylandBridge(const X11Connection& connection);

/// The desktop as it is now, at the price of a question to the server only after it changed.
/// One thread at a time.
class X11DesktopView {
  public:
    /// The connection, for requests beside the desktop's; null when there is no server now. Valid until the
    /// next call of either function, which may find that its server is gone.
    X11Connection* connection();
    /// Empty when there is no server. Valid as long.
    const X11Desktop& desktop();
    /// Asks anew next time: the desktop was changed over another connection.
    void forget() { desktop_.reset(); }

  private:
    std::unique_ptr<X11Connection> connection_;
    std::optional<X11Desktop> desktop_;
};

/// Asks the server to report changes of displays on this connection.
void watchDisplayChanges(const X11Connection& connection);
/// Is this event such a report?
bool isDisplayChange(const X11Connection& connection, const xcb_generic_event_t& event);

}  // namespace quillon
