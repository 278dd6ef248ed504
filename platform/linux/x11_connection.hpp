#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace quillon {

/// Why there is no X server to talk to, and what helps, in words for the user.
class X11Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Why the screen of a Wayland session cannot be captured, and what helps.
inline constexpr const char* kWaylandOnlyReason =
    "this session offers Wayland only, and screen capture needs X11. Log in to an X11 (Xorg) session, or set "
    "DISPLAY to an X server that shows the desktop";

struct XFreeDeleter {
    void operator()(void* block) const { std::free(block); }
};
/// A reply or an event, owned.
template <typename Reply>
using XReply = std::unique_ptr<Reply, XFreeDeleter>;

template <typename Reply>
XReply<Reply> owned(Reply* reply) {
    return XReply<Reply>(reply);
}

/// A connection to the X server that DISPLAY names. As thread-safe as XCB is: requests may come from
/// several threads, events from one.
class X11Connection {
  public:
    /// Throws X11Failure.
    static std::unique_ptr<X11Connection> open();

    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    xcb_connection_t* get() const { return connection_; }
    const xcb_screen_t& screen() const { return *screen_; }
    xcb_window_t root() const { return screen_->root; }
    int descriptor() const { return xcb_get_file_descriptor(connection_); }

    /// False once the server is gone.
    bool isAlive() const { return xcb_connection_has_error(connection_) == 0; }

    /// What the server says about an extension; null when it does not have it. A round trip when asked
    /// for the first time.
    const xcb_query_extension_reply_t* extension(xcb_extension_t& extension) const;

    /// The next event if there is one, without waiting.
    XReply<xcb_generic_event_t> pollEvent() const { return owned(xcb_poll_for_event(connection_)); }

  private:
    X11Connection(xcb_connection_t* connection, xcb_screen_t* screen)
        : connection_(connection), screen_(screen) {}

    xcb_connection_t* const connection_;
    xcb_screen_t* const screen_;  ///< owned by the connection
};

/// The connection in `connection`, opened anew when there is none or its server is gone. Null when
/// there is no server now.
X11Connection* reopened(std::unique_ptr<X11Connection>& connection);

}  // namespace quillon
