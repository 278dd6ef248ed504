#include "platform/linux/x11_displays.hpp"

#include <xcb/randr.h>

#include <algorithm>
#include <string_view>

#include "platform/linux/edid.hpp"

namespace quillon {

namespace {

constexpr std::string_view kEdidProperty = "EDID";
constexpr uint32_t kEdidBlock = 128;  // bytes

std::vector<PixelRect> placesBeside(const X11Desktop& desktop, DisplayID display) {
    std::vector<PixelRect> places;
    for (const X11Output& output : desktop.outputs) {
        if (output.id != display) places.push_back(output.place);
    }
    return places;
}

/// The display at `wanted`, on free ground. The main display itself goes where it is told.
PixelRect placeFor(const X11Desktop& desktop, DisplayID display, const PixelRect& wanted) {
    if (display == desktop.main) return wanted;
    return clearOfOthers(wanted, desktop.mainPlace(), placesBeside(desktop, display));
}

}  // namespace

std::vector<DisplayID> X11Displays::active() {
    const MutexLock guard(lock_);
    std::vector<DisplayID> ids;
    for (const X11Output& output : view_.desktop().outputs) ids.push_back(output.id);
    return ids;
}

DisplayID X11Displays::main() {
    const MutexLock guard(lock_);
    return view_.desktop().main;
}

Rect X11Displays::bounds(DisplayID display) {
    const MutexLock guard(lock_);
    const X11Desktop& desktop = view_.desktop();
    const X11Output* output = desktop.find(display);
    if (output == nullptr) return {};
    const PixelRect origin = desktop.mainPlace();
    const PixelRect& place = output->place;
    return {static_cast<double>(place.x - origin.x), static_cast<double>(place.y - origin.y),
            static_cast<double>(place.width), static_cast<double>(place.height)};
}

Displays::Identity X11Displays::identity(DisplayID display) {
    const MutexLock guard(lock_);
    X11Connection* connection = view_.connection();
    if (connection == nullptr || connection->extension(xcb_randr_id) == nullptr) return {};
    xcb_connection_t* c = connection->get();
    const auto atomCookie = xcb_intern_atom(c, 1, kEdidProperty.size(), kEdidProperty.data());
    const auto atom = owned(xcb_intern_atom_reply(c, atomCookie, nullptr));
    if (!atom || atom->atom == XCB_NONE) return {};
    const auto cookie = xcb_randr_get_output_property(c, display, atom->atom, XCB_GET_PROPERTY_TYPE_ANY, 0,
                                                      kEdidBlock / 4, 0, 0);
    const auto property = owned(xcb_randr_get_output_property_reply(c, cookie, nullptr));
    if (!property || property->format != 8) return {};
    return identityFromEdid({xcb_randr_get_output_property_data(property.get()), property->num_items});
}

std::vector<DisplayMode> X11Displays::modes(DisplayID display) {
    const MutexLock guard(lock_);
    const X11Output* output = view_.desktop().find(display);
    return output == nullptr ? std::vector<DisplayMode>{} : output->modes;
}

std::optional<DisplayMode> X11Displays::currentMode(DisplayID display) {
    const MutexLock guard(lock_);
    const X11Output* output = view_.desktop().find(display);
    if (output == nullptr) return std::nullopt;
    return output->mode;
}

bool X11Displays::change(DisplayID display, const Change& edit) {
    const MutexLock guard(lock_);
    // A connection of its own: it knows the screen's density as it is now.
    std::unique_ptr<X11Connection> connection;
    if (reopened(connection) == nullptr) return false;
    view_.forget();
    const ServerGrab grab(*connection);
    const auto screen = readScreen(*connection);
    if (!screen) return false;
    const X11Desktop desktop = desktopOf(*screen);
    X11Layout layout = screen->layout;
    if (desktop.find(display) == nullptr || !edit(*screen, desktop, layout)) return false;
    layout.settle();
    return reconfigure(*connection, *screen, layout);
}

bool X11Displays::setMode(DisplayID display, const DisplayMode& mode) {
    return change(display, [&](const X11Screen&, const X11Desktop& desktop, X11Layout& layout) {
        const X11Output& output = *desktop.find(display);
        const auto offered = std::ranges::find(output.modes, mode.token, &DisplayMode::token);
        if (offered == output.modes.end()) return false;
        X11Crtc& crtc = *layout.crtcOf(display);
        const Size size{offered->pixelWidth, offered->pixelHeight};
        crtc.mode = offered->token;
        crtc.place = placeFor(desktop, display, resized(crtc.place, size, desktop.mainPlace()));
        return true;
    });
}

Displays::Mirroring X11Displays::mirroring(DisplayID display) {
    const MutexLock guard(lock_);
    const X11Desktop& desktop = view_.desktop();
    const X11Output* asked = desktop.find(display);
    if (asked == nullptr) return {};
    // All that show the same part of the desktop; the source is the main display, else the first.
    DisplayID source = 0;
    int count = 0;
    for (const X11Output& output : desktop.outputs) {
        if (output.place != asked->place) continue;
        ++count;
        if (source == 0 || output.id == desktop.main) source = output.id;
    }
    if (count < 2) return {};
    return {true, source == display ? DisplayID{0} : source};
}

bool X11Displays::stopMirroring(DisplayID display) {
    const DisplayID mirrored = mirroring(display).mirrors;
    return change(display, [&](const X11Screen& screen, const X11Desktop& desktop, X11Layout& layout) {
        // The source of the set stays where it is: those that show the same move away.
        const PixelRect place = desktop.find(display)->place;
        X11Desktop settled = desktop;
        for (X11Output& output : settled.outputs) {
            const bool moves = mirrored == 0 ? output.id != display : output.id == display;
            if (!moves || output.place != place) continue;
            if (!layout.separate(output.id, screen.output(output.id)->crtcs)) return false;
            const PixelRect main = desktop.mainPlace();
            const PixelRect wanted{main.right(), main.y, place.width, place.height};
            output.place = placeFor(settled, output.id, wanted);
            layout.crtcOf(output.id)->place = output.place;
        }
        return settled.outputs != desktop.outputs;
    });
}

bool X11Displays::setOrigin(DisplayID display, int x, int y) {
    return change(display, [&](const X11Screen& screen, const X11Desktop& desktop, X11Layout& layout) {
        const PixelRect main = desktop.mainPlace();
        if (!layout.separate(display, screen.output(display)->crtcs)) return false;
        X11Crtc& crtc = *layout.crtcOf(display);
        crtc.place =
            placeFor(desktop, display, {main.x + x, main.y + y, crtc.place.width, crtc.place.height});
        return true;
    });
}

}  // namespace quillon
