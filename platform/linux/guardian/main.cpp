#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "platform/linux/x11_own_outputs.hpp"

// The guardian of a virtual display; see display_guardian.hpp. Its argument is a window: while that exists
// somebody holds the display.

namespace {

using namespace quillon;

/// Returns when the window is gone, or the server.
void waitForEnd(const X11Connection& connection, xcb_window_t window) {
    constexpr uint8_t kEventTypeMask = 0x7F;
    xcb_connection_t* c = connection.get();
    const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    const auto cookie = xcb_change_window_attributes_checked(c, window, XCB_CW_EVENT_MASK, &events);
    if (owned(xcb_request_check(c, cookie))) return;
    while (const auto event = owned(xcb_wait_for_event(c))) {
        if ((event->response_type & kEventTypeMask) == XCB_DESTROY_NOTIFY) return;
    }
}

int guard(xcb_window_t window) {
    try {
        const auto connection = X11Connection::open();
        waitForEnd(*connection, window);
        if (const auto screen = readScreen(*connection)) removeLeftovers(*connection, *screen);
    } catch (const X11Failure&) {
        // Without a server there is no display to take back.
    }
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return EXIT_FAILURE;
    const auto window = static_cast<xcb_window_t>(std::strtoul(argv[1], nullptr, 10));
    const pid_t guardian = fork();
    if (guardian != 0) _exit(guardian < 0 ? EXIT_FAILURE : EXIT_SUCCESS);
    // Nothing of whoever started it is held on to: no descriptor, no folder, no terminal's farewell.
    close_range(STDERR_FILENO + 1, ~0U, 0);
    if (chdir("/") != 0) return EXIT_FAILURE;
    std::signal(SIGHUP, SIG_IGN);
    return guard(window);
}
