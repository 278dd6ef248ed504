#include "platform/linux/x11_connection.hpp"

#include <string>

#include "base/thread_annotations.hpp"

namespace quillon {

namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// Connects one thread at a time: the library that finds the server's password keeps its file's name in
/// memory of its own.
xcb_connection_t* connected(int& screenIndex) {
    static Mutex connecting;
    const MutexLock guard(connecting);
    return xcb_connect(nullptr, &screenIndex);
}

std::string missingDisplayReason() {
    if (!environment("WAYLAND_DISPLAY").empty() || environment("XDG_SESSION_TYPE") == "wayland") {
        return kWaylandOnlyReason;
    }
    return "there is no display server: DISPLAY is not set. Start the program inside a desktop session, or "
           "set DISPLAY, for example DISPLAY=:0";
}

xcb_screen_t* screenAt(xcb_connection_t* connection, int index) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    while (screens.rem > 1 && index-- > 0) xcb_screen_next(&screens);
    return screens.rem > 0 ? screens.data : nullptr;
}

}  // namespace

std::unique_ptr<X11Connection> X11Connection::open() {
    const std::string display = environment("DISPLAY");
    if (display.empty()) throw X11Failure(missingDisplayReason());
    int screenIndex = 0;
    xcb_connection_t* connection = connected(screenIndex);
    xcb_screen_t* screen =
        xcb_connection_has_error(connection) == 0 ? screenAt(connection, screenIndex) : nullptr;
    if (screen == nullptr) {
        xcb_disconnect(connection);
        throw X11Failure("the X server \"" + display +
                         "\" does not answer. Check that DISPLAY names a running X server and that this "
                         "user may use it (XAUTHORITY)");
    }
    return std::unique_ptr<X11Connection>(new X11Connection(connection, screen));
}

X11Connection::~X11Connection() {
    xcb_disconnect(connection_);
}

const xcb_query_extension_reply_t* X11Connection::extension(xcb_extension_t& extension) const {
    const xcb_query_extension_reply_t* reply = xcb_get_extension_data(connection_, &extension);
    return reply != nullptr && reply->present != 0 ? reply : nullptr;
}

X11Connection* reopened(std::unique_ptr<X11Connection>& connection) {
    if (connection && connection->isAlive()) return connection.get();
    connection.reset();
    try {
        connection = X11Connection::open();
    } catch (const X11Failure&) {
        return nullptr;
    }
    return connection.get();
}

}  // namespace quillon
