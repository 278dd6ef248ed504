#pragma once

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <memory>
#include <string>
#include <vector>

#include "base/geometry.hpp"
#include "platform/linux/x11_connection.hpp"
#include "tests/support/xorg_server.hpp"

namespace quillon::testing {

/// Draws plain rectangles on the root window, as another program would.
class Painter {
  public:
    Painter() : connection_(X11Connection::open()), gc_(xcb_generate_id(connection_->get())) {
        const uint32_t includeInferiors = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
        xcb_create_gc(connection_->get(), gc_, connection_->root(), XCB_GC_SUBWINDOW_MODE, &includeInferiors);
    }

    /// Returns when the server has drawn it.
    void fill(const PixelRect& rect, uint32_t rgb) {
        send(rect, rgb);
        settle();
    }
    /// Only puts the request on its way.
    void send(const PixelRect& rect, uint32_t rgb) {
        xcb_change_gc(connection_->get(), gc_, XCB_GC_FOREGROUND, &rgb);
        const xcb_rectangle_t area{static_cast<int16_t>(rect.x), static_cast<int16_t>(rect.y),
                                   static_cast<uint16_t>(rect.width), static_cast<uint16_t>(rect.height)};
        xcb_poly_fill_rectangle(connection_->get(), connection_->root(), gc_, 1, &area);
        xcb_flush(connection_->get());
    }
    void settle() {
        owned(
            xcb_get_input_focus_reply(connection_->get(), xcb_get_input_focus(connection_->get()), nullptr));
    }
    void warp(int x, int y) {
        xcb_warp_pointer(connection_->get(), XCB_NONE, connection_->root(), 0, 0, 0, 0,
                         static_cast<int16_t>(x), static_cast<int16_t>(y));
        settle();
    }
    /// Over the root window the pointer becomes a plain square whose corner is its place.
    void showSquareCursor(uint16_t side, uint32_t rgb) {
        xcb_connection_t* c = connection_->get();
        const xcb_pixmap_t mask = xcb_generate_id(c);
        xcb_create_pixmap(c, 1, mask, connection_->root(), side, side);
        const xcb_gcontext_t gc = xcb_generate_id(c);
        const uint32_t set = 1;
        xcb_create_gc(c, gc, mask, XCB_GC_FOREGROUND, &set);
        const xcb_rectangle_t all{0, 0, side, side};
        xcb_poly_fill_rectangle(c, mask, gc, 1, &all);
        const auto component = [&](int shift) { return static_cast<uint16_t>((rgb >> shift & 0xFF) * 257); };
        const xcb_cursor_t cursor = xcb_generate_id(c);
        xcb_create_cursor(c, cursor, mask, mask, component(16), component(8), component(0), 0, 0, 0, 0, 0);
        xcb_change_window_attributes(c, connection_->root(), XCB_CW_CURSOR, &cursor);
        settle();
    }
    X11Connection& connection() { return *connection_; }

  private:
    std::unique_ptr<X11Connection> connection_;
    xcb_gcontext_t gc_;
};

/// Tests against a real X server of their own. Skipped with the reason where there can be none.
class X11Test : public ::testing::Test {
  protected:
    void SetUp() override {
        if (const std::string missing = XorgServer::missing(); !missing.empty()) GTEST_SKIP() << missing;
        startServer();
    }
    void startServer(const std::vector<std::string>& arguments = {}) {
        painter_.reset();
        server_.reset();
        server_ = XorgServer::start(arguments);
        ASSERT_TRUE(server_) << "Xorg did not start";
        painter_ = std::make_unique<Painter>();
    }

    std::unique_ptr<XorgServer> server_;
    std::unique_ptr<Painter> painter_;
};

}  // namespace quillon::testing
