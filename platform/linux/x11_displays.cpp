#include "platform/linux/x11_displays.hpp"

#include <xcb/randr.h>

#include <algorithm>
#include <string_view>

namespace quillon {

namespace {

constexpr std::string_view kEdidProperty = "EDID";
constexpr uint32_t kEdidBlock = 128;  // bytes

/// EDID: manufacturer big-endian at byte 8, product little-endian at byte 10.
Displays::Identity identityFromEdid(const uint8_t* edid) {
    return {static_cast<uint32_t>(edid[8] << 8 | edid[9]), static_cast<uint32_t>(edid[11] << 8 | edid[10])};
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
    if (!property || property->format != 8 || property->num_items < kEdidBlock) return {};
    return identityFromEdid(xcb_randr_get_output_property_data(property.get()));
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
    const auto mode = std::ranges::find(output->modes, output->mode, &DisplayMode::token);
    if (mode == output->modes.end()) return std::nullopt;
    return *mode;
}

bool X11Displays::setMode(DisplayID /*display*/, const DisplayMode& /*mode*/) {
    return false;
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

bool X11Displays::stopMirroring(DisplayID /*display*/) {
    return false;
}

bool X11Displays::setOrigin(DisplayID /*display*/, int /*x*/, int /*y*/) {
    return false;
}

}  // namespace quillon
