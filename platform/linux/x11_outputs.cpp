#include "platform/linux/x11_outputs.hpp"

#include <xcb/randr.h>

#include <algorithm>

#include "platform/linux/x11_own_outputs.hpp"

namespace quillon {

namespace {

/// Bit 7 marks events that another client sent.
constexpr uint8_t kEventTypeMask = 0x7F;

constexpr uint16_t kQuarterTurns = XCB_RANDR_ROTATION_ROTATE_90 | XCB_RANDR_ROTATION_ROTATE_270;

DisplayMode modeOf(const X11Screen::Mode& mode, bool sideways) {
    const int width = sideways ? mode.size.height : mode.size.width;
    const int height = sideways ? mode.size.width : mode.size.height;
    return {width, height, width, height, mode.id};
}

X11Desktop rootAsDesktop(const X11Connection& connection) {
    X11Desktop desktop;
    const auto cookie = xcb_get_geometry(connection.get(), connection.root());
    const auto geometry = owned(xcb_get_geometry_reply(connection.get(), cookie, nullptr));
    if (!geometry) return desktop;
    X11Output output;
    output.id = desktop.main = connection.root();
    output.place = {0, 0, geometry->width, geometry->height};
    output.mode = {geometry->width, geometry->height, geometry->width, geometry->height, connection.root()};
    output.modes = {output.mode};
    desktop.outputs.push_back(std::move(output));
    return desktop;
}

X11Output activeOutput(const X11Screen& screen, const X11Screen::Output& info, const X11Crtc& crtc) {
    X11Output output;
    output.id = info.id;
    output.place = crtc.place;
    const bool sideways = (crtc.rotation & kQuarterTurns) != 0;
    const bool isOwn = hasOwnModes(screen, info);
    for (const uint32_t id : info.modes) {
        const X11Screen::Mode* mode = screen.mode(id);
        if (mode == nullptr) continue;
        // A virtual display offers what was asked for, not what its driver can do besides.
        if (!isOwn || isOwnMode(*mode, info.id)) output.modes.push_back(modeOf(*mode, sideways));
        if (id == crtc.mode) output.mode = modeOf(*mode, sideways);
    }
    return output;
}

}  // namespace

const X11Output* X11Desktop::find(DisplayID id) const {
    const auto found = std::ranges::find(outputs, id, &X11Output::id);
    return found == outputs.end() ? nullptr : &*found;
}

PixelRect X11Desktop::mainPlace() const {
    const X11Output* output = find(main);
    return output == nullptr ? PixelRect{} : output->place;
}

X11Desktop desktopOf(const X11Screen& screen) {
    X11Desktop desktop;
    DisplayID firstOther = 0;
    for (const X11Screen::Output& output : screen.outputs) {
        const X11Crtc* const crtc = screen.layout.crtcOf(output.id);
        if (crtc == nullptr) continue;
        desktop.outputs.push_back(activeOutput(screen, output, *crtc));
        if (firstOther == 0 && !hasOwnModes(screen, output)) firstOther = output.id;
    }
    if (!desktop.outputs.empty()) desktop.main = desktop.outputs.front().id;
    if (firstOther != 0) desktop.main = firstOther;
    if (desktop.find(screen.primary) != nullptr) desktop.main = screen.primary;
    return desktop;
}

X11Desktop readDesktop(const X11Connection& connection) {
    if (!hasOutputs(connection)) return rootAsDesktop(connection);
    const auto screen = readScreen(connection);
    return screen ? desktopOf(*screen) : X11Desktop{};
}

bool isWaylandBridge(const X11Screen& screen) {
    return !screen.outputs.empty() && screen.outputs.front().name.starts_with("XWAYLAND");
}

bool isWaylandBridge(const X11Connection& connection) {
    const auto screen = readScreen(connection);
    return screen && isWaylandBridge(*screen);
}

void watchDisplayChanges(const X11Connection& connection) {
    xcb_connection_t* c = connection.get();
    if (hasOutputs(connection)) {
        xcb_randr_select_input(c, connection.root(),
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    } else {
        const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(c, connection.root(), XCB_CW_EVENT_MASK, &events);
    }
}

bool isDisplayChange(const X11Connection& connection, const xcb_generic_event_t& event) {
    const uint8_t type = event.response_type & kEventTypeMask;
    if (type == XCB_CONFIGURE_NOTIFY) return true;
    const auto* randr = connection.extension(xcb_randr_id);
    return randr != nullptr && (type == randr->first_event + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                                type == randr->first_event + XCB_RANDR_NOTIFY);
}

X11Connection* X11DesktopView::connection() {
    if (connection_ && connection_->isAlive()) return connection_.get();
    desktop_.reset();
    if (reopened(connection_) != nullptr) watchDisplayChanges(*connection_);
    return connection_.get();
}

const X11Desktop& X11DesktopView::desktop() {
    static const X11Desktop kNothing;
    X11Connection* now = connection();
    if (now == nullptr) return kNothing;
    while (const auto event = now->pollEvent()) {
        if (isDisplayChange(*now, *event)) desktop_.reset();
    }
    if (!desktop_) desktop_ = readDesktop(*now);
    // A server that went away during the questions has no displays; the next call looks for a new one.
    return now->isAlive() ? *desktop_ : kNothing;
}

}  // namespace quillon
