#pragma once

#include <xcb/xcb.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/geometry.hpp"
#include "tests/support/child_process.hpp"

namespace quillon::testing {

/// Windows of plain programs on the server that DISPLAY names, made by one connection, and what becomes of
/// them. Single-threaded.
class TestWindows {
  public:
    struct Kind {
        std::string type;                 ///< after "_NET_WM_WINDOW_TYPE_"; empty for none
        std::vector<std::string> states;  ///< after "_NET_WM_STATE_"
        bool overrideRedirect = false;
        std::optional<uint32_t> workspace;  ///< from 0
        bool mapped = true;
        std::vector<uint32_t> frameExtents;  ///< as the program itself claims: left, right, top, bottom
    };

    TestWindows();
    ~TestWindows();
    TestWindows(const TestWindows&) = delete;
    TestWindows& operator=(const TestWindows&) = delete;

    /// A window at a place that its user chose. With a window manager the frame's corner goes there; returns
    /// when it is managed and has come to rest.
    xcb_window_t open(const PixelRect& place, const Kind& kind);
    xcb_window_t open(const PixelRect& place) { return open(place, Kind{}); }
    void close(xcb_window_t window);
    void minimise(xcb_window_t window);

    /// Where the window lies with its frame, in pixels of the root window; empty when it is gone.
    PixelRect frame(xcb_window_t window);
    /// Waits until `frame` has this corner; false after a while.
    bool comesTo(xcb_window_t window, int x, int y);

    /// Does a window manager list the window?
    bool isManaged(xcb_window_t window);

    xcb_connection_t* connection() { return connection_; }
    xcb_window_t root() const { return root_; }

  private:
    xcb_atom_t atom(const std::string& name);
    bool hasManager();
    std::vector<uint32_t> property(xcb_window_t window, const std::string& name);
    xcb_connection_t* connection_;
    xcb_window_t root_ = XCB_NONE;
};

/// A real window manager (openbox) on the server that DISPLAY names.
class WindowManager {
  public:
    /// Why there can be none on this machine; empty when there can.
    static std::string missing();
    /// Returns when it manages windows; null when it did not come up.
    static std::unique_ptr<WindowManager> start();

    ChildProcess& process() { return process_; }

  private:
    WindowManager();

    // The manager takes over what is there at the end of its start: the probe tells when. A window that came
    // in the middle might never be shown. The probe's connection stays, so that no other window gets its
    // number while the manager is still busy with its end.
    TestWindows windows_;
    xcb_window_t probe_;
    ChildProcess process_;
};

/// Looks every few milliseconds; false when `done` was not true within `limit`.
bool eventually(const std::function<bool()>& done,
                std::chrono::milliseconds limit = std::chrono::seconds(10));

}  // namespace quillon::testing
