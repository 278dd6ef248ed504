// quillon-touches SOCKET TOUCHES: the reference device behind a mux server on SOCKET. When the host extends
// the desktop of DISPLAY and the first picture has come, it touches the display TOUCHES times and changes its
// panel a few times, and prints a line for each: "touch MILLISECONDS", from sending to the pointer's event,
// and "panel MILLISECONDS", from the report to the first picture of the new size, decoded.

#include <poll.h>
#include <xcb/xcb.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <thread>

#include "device/device.hpp"
#include "device/panel_text.hpp"

namespace {

using namespace quillon;
using namespace quillon::device;
using namespace std::chrono_literals;

constexpr Size kPanel{2048, 1536};
/// The best desktop for each is another than for the one before, so that the desktop changes with the panel.
constexpr std::array<Size, 4> kPanels{{{2732, 2048}, {2048, 2732}, {2732, 2048}, {2048, 1536}}};
constexpr auto kPatience = 20s;

double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

/// Sees the pointer's motion anywhere on the desktop.
class Glass {
  public:
    Glass() : connection_(xcb_connect(nullptr, nullptr)) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
        const xcb_window_t window = xcb_generate_id(connection_);
        const std::array<uint32_t, 2> values{1, XCB_EVENT_MASK_POINTER_MOTION};
        xcb_create_window(connection_, 0, window, screen->root, 0, 0, 16384, 16384, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values.data());
        xcb_map_window(connection_, window);
        // Once this is answered the window sees what moves.
        std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    }
    ~Glass() { xcb_disconnect(connection_); }
    Glass(const Glass&) = delete;
    Glass& operator=(const Glass&) = delete;

    void forgetEvents() { takeEvents(); }

    /// False when no motion came.
    bool awaitMotion() {
        pollfd watched{xcb_get_file_descriptor(connection_), POLLIN, 0};
        const auto deadline = Clock::now() + kPatience;
        while (Clock::now() < deadline) {
            if (takeEvents()) return true;
            if (xcb_connection_has_error(connection_) != 0) return false;
            ::poll(&watched, 1, 100);
        }
        return false;
    }

  private:
    bool takeEvents() {
        bool moved = false;
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
            moved = moved || (event->response_type & 0x7F) == XCB_MOTION_NOTIFY;
            std::free(event);
        }
        return moved;
    }

    xcb_connection_t* connection_;
};

/// Looks often enough for what takes half a second.
bool awaitPicture(Device& tablet, std::optional<Size> size) {
    const auto deadline = Clock::now() + kPatience;
    while (Clock::now() < deadline) {
        const ScreenState state = tablet.screen().state();
        if (state.frame && (!size || state.frame->picture->size() == *size)) return true;
        std::this_thread::sleep_for(1ms);
    }
    return false;
}

bool measureTouches(Device& tablet, int count) {
    Glass glass;
    for (int i = 0; i < count; ++i) {
        std::this_thread::sleep_for(8ms);
        glass.forgetEvents();
        const auto sent = Clock::now();
        tablet.touch(wire::Input::hover, {0.1 + 0.8 * (i % 100) / 100, 0.5});
        if (!glass.awaitMotion()) return false;
        std::printf("touch %.4f\n", milliseconds(Clock::now() - sent));
    }
    return true;
}

bool measurePanels(Device& tablet) {
    for (const Size panel : kPanels) {
        const auto link = tablet.screen().state().link;
        if (!link) return false;
        const std::string text = panelReportText(panel);
        const auto sent = Clock::now();
        link->send(wire::MessageType::panelReport, 0, viewOf(text));
        if (!awaitPicture(tablet, panel)) return false;
        std::printf("panel %.1f\n", milliseconds(Clock::now() - sent));
        std::this_thread::sleep_for(1s);  // the desktop comes to rest
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "quillon-touches SOCKET TOUCHES\n");
        return 1;
    }
    Options options;
    options.tcp = false;
    options.muxSocket = argv[1];
    options.headless = true;
    options.panel = kPanel;
    Device tablet(options, Device::Shown::whenDecoded);
    tablet.start();
    if (!awaitPicture(tablet, std::nullopt)) {
        std::fprintf(stderr, "quillon-touches: no picture came\n");
        return 1;
    }
    std::this_thread::sleep_for(1s);  // the session comes to rest
    return measureTouches(tablet, std::atoi(argv[2])) && measurePanels(tablet) ? 0 : 1;
}
