#pragma once

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <memory>
#include <vector>

#include "bench/sheet.hpp"

namespace quillon::bench {

/// A window over the whole X screen, without a visible pointer, and sheets in memory that the server
/// shares. Drawing costs the server one copy and the network nothing. One thread.
class XScreen : public SheetStore, public Surface {
  public:
    /// Opens DISPLAY. A size of 0 is the screen's. Throws std::runtime_error with what is missing: the
    /// server, 24-bit colour, or shared memory.
    explicit XScreen(Size wanted);
    ~XScreen() override;
    XScreen(const XScreen&) = delete;
    XScreen& operator=(const XScreen&) = delete;

    Size size() const { return size_; }

    Sheet make(Size size) override;
    void put(const Sheet& sheet, const PixelRect& from, int x, int y) override;

    /// Between these two the puts become visible to every other program at once. end() returns when
    /// the server has done them.
    void begin();
    void end();

  private:
    void openWindow(const xcb_screen_t& screen);

    struct Disconnect {
        void operator()(xcb_connection_t* it) const { xcb_disconnect(it); }
    };
    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    Size size_;
    xcb_window_t window_ = 0;
    xcb_gcontext_t context_ = 0;
    std::vector<void*> attached_;
};

}  // namespace quillon::bench
