#include "platform/linux/x11_own_outputs.hpp"

#include <xcb/randr.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

namespace quillon {

namespace {

constexpr std::string_view kModePrefix = "quillon-";
constexpr std::string_view kMark = "_QUILLON_DISPLAY";

xcb_intern_atom_cookie_t askForAtom(const X11Connection& connection, std::string_view name) {
    return xcb_intern_atom(connection.get(), 0, static_cast<uint16_t>(name.size()), name.data());
}

xcb_atom_t answered(const X11Connection& connection, xcb_intern_atom_cookie_t cookie) {
    const auto reply = owned(xcb_intern_atom_reply(connection.get(), cookie, nullptr));
    return reply ? reply->atom : XCB_NONE;
}

std::string modePrefix(uint32_t output) {
    return std::string(kModePrefix) + std::to_string(output) + "-";
}

/// Returns when the server has done all that was asked of it. What is on its way to the server when a
/// connection is closed may be lost.
void finish(const X11Connection& connection) {
    owned(xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()), nullptr));
}

}  // namespace

/// How the screen was before an output became a virtual display: the contents of the mark, as 32-bit numbers
/// in this order.
struct X11OwnOutputs::Before {
    uint32_t width, height;                       ///< of the screen
    uint32_t millimetresAcross, millimetresDown;  ///< of the screen
    uint32_t extentAcross, extentDown;            ///< of its outputs
    uint32_t outputMillimetresAcross, outputMillimetresDown;
};

std::string ownModeName(uint32_t output, Size size) {
    return modePrefix(output) + std::to_string(size.width) + "x" + std::to_string(size.height);
}

bool isOwnMode(const X11Screen::Mode& mode, uint32_t output) {
    return mode.name.starts_with(kModePrefix) && mode.name.starts_with(modePrefix(output));
}

bool hasOwnModes(const X11Screen& screen, const X11Screen::Output& output) {
    return std::ranges::any_of(output.modes, [&](uint32_t id) {
        const X11Screen::Mode* const mode = screen.mode(id);
        return mode != nullptr && isOwnMode(*mode, output.id);
    });
}

std::vector<uint32_t> ownOutputs(const X11Screen& screen) {
    std::vector<uint32_t> outputs;
    for (const X11Screen::Mode& mode : screen.modes) {
        if (!mode.name.starts_with(kModePrefix)) continue;
        uint32_t output = 0;
        const char* const end = mode.name.data() + mode.name.size();
        const auto parsed = std::from_chars(mode.name.data() + kModePrefix.size(), end, output);
        if (parsed.ec != std::errc() || parsed.ptr == end || *parsed.ptr != '-') continue;
        if (std::ranges::count(outputs, output) == 0) outputs.push_back(output);
    }
    return outputs;
}

X11OwnOutputs::X11OwnOutputs(const X11Connection& connection) : connection_(connection) {
    const auto edid = askForAtom(connection, "EDID");
    const auto mark = askForAtom(connection, kMark);
    const auto width = askForAtom(connection, "WIDTH_MM");
    const auto height = askForAtom(connection, "HEIGHT_MM");
    edid_ = answered(connection, edid);
    mark_ = answered(connection, mark);
    width_ = answered(connection, width);
    height_ = answered(connection, height);
}

xcb_atom_t X11OwnOutputs::selection(uint32_t output) const {
    return answered(connection_, askForAtom(connection_, std::string(kMark) + "_" + std::to_string(output)));
}

void X11OwnOutputs::hold(uint32_t output, xcb_window_t window) const {
    xcb_set_selection_owner(connection_.get(), window, selection(output), XCB_CURRENT_TIME);
}

bool X11OwnOutputs::isHeld(uint32_t output) const {
    const auto cookie = xcb_get_selection_owner(connection_.get(), selection(output));
    const auto reply = owned(xcb_get_selection_owner_reply(connection_.get(), cookie, nullptr));
    return reply && reply->owner != XCB_NONE;
}

std::vector<bool> X11OwnOutputs::haveEdid(std::span<const X11Screen::Output> outputs) const {
    std::vector<xcb_randr_get_output_property_cookie_t> cookies;
    cookies.reserve(outputs.size());
    for (const X11Screen::Output& output : outputs) {
        cookies.push_back(xcb_randr_get_output_property(connection_.get(), output.id, edid_,
                                                        XCB_GET_PROPERTY_TYPE_ANY, 0, 0, 0, 0));
    }
    std::vector<bool> answers;
    answers.reserve(outputs.size());
    for (const auto cookie : cookies) {
        const auto reply = owned(xcb_randr_get_output_property_reply(connection_.get(), cookie, nullptr));
        answers.push_back(reply && reply->bytes_after > 0);
    }
    return answers;
}

std::optional<uint32_t> X11OwnOutputs::number(uint32_t output, xcb_atom_t property) const {
    const auto cookie = xcb_randr_get_output_property(connection_.get(), output, property,
                                                      XCB_GET_PROPERTY_TYPE_ANY, 0, 1, 0, 0);
    const auto reply = owned(xcb_randr_get_output_property_reply(connection_.get(), cookie, nullptr));
    uint32_t value = 0;
    if (!reply || reply->format != 32 || reply->num_items != 1) return std::nullopt;
    std::memcpy(&value, xcb_randr_get_output_property_data(reply.get()), sizeof value);
    return value;
}

void X11OwnOutputs::setNumber(uint32_t output, xcb_atom_t property, uint32_t value) const {
    xcb_randr_change_output_property(connection_.get(), output, property, XCB_ATOM_INTEGER, 32,
                                     XCB_PROP_MODE_REPLACE, 1, &value);
}

void X11OwnOutputs::declare(uint32_t output, const X11Screen& now, const Edid& edid, Size millimetres) const {
    const auto across = number(output, width_);
    const auto down = number(output, height_);
    const X11Layout& layout = now.layout;
    const Size extent = layout.extent();
    const std::array<int, 6> screen{layout.size.width,         layout.size.height, layout.millimetres.width,
                                    layout.millimetres.height, extent.width,       extent.height};
    std::array<uint32_t, sizeof(Before) / 4> before{};
    std::ranges::copy(screen, before.begin());
    before[6] = across.value_or(0);
    before[7] = down.value_or(0);
    xcb_connection_t* c = connection_.get();
    xcb_randr_change_output_property(c, output, mark_, XCB_ATOM_CARDINAL, 32, XCB_PROP_MODE_REPLACE,
                                     static_cast<uint32_t>(before.size()), before.data());
    xcb_randr_change_output_property(c, output, edid_, XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE,
                                     static_cast<uint32_t>(edid.size()), edid.data());
    if (across) setNumber(output, width_, static_cast<uint32_t>(millimetres.width));
    if (down) setNumber(output, height_, static_cast<uint32_t>(millimetres.height));
}

std::optional<X11OwnOutputs::Before> X11OwnOutputs::before(uint32_t output) const {
    constexpr uint32_t kNumbers = sizeof(Before) / 4;
    const auto cookie =
        xcb_randr_get_output_property(connection_.get(), output, mark_, XCB_ATOM_CARDINAL, 0, kNumbers, 0, 0);
    const auto reply = owned(xcb_randr_get_output_property_reply(connection_.get(), cookie, nullptr));
    if (!reply || reply->format != 32 || reply->num_items != kNumbers) return std::nullopt;
    Before before;
    std::memcpy(&before, xcb_randr_get_output_property_data(reply.get()), sizeof before);
    return before;
}

void X11OwnOutputs::takeBack(uint32_t output) const {
    const auto screen = readScreen(connection_);
    if (!screen) return;
    const auto former = before(output);
    if (screen->layout.crtcOf(output) != nullptr) {
        X11Layout layout = screen->layout;
        layout.turnOff(output);
        layout.settle();
        const Size extent = layout.extent();
        if (former &&
            extent == Size{static_cast<int>(former->extentAcross), static_cast<int>(former->extentDown)}) {
            layout.size = {static_cast<int>(former->width), static_cast<int>(former->height)};
            layout.millimetres = {static_cast<int>(former->millimetresAcross),
                                  static_cast<int>(former->millimetresDown)};
        }
        reconfigure(connection_, *screen, layout);
    }
    xcb_connection_t* c = connection_.get();
    if (former) {
        if (number(output, width_)) setNumber(output, width_, former->outputMillimetresAcross);
        if (number(output, height_)) setNumber(output, height_, former->outputMillimetresDown);
        xcb_randr_delete_output_property(c, output, edid_);
        xcb_randr_delete_output_property(c, output, mark_);
    }
    for (const X11Screen::Mode& mode : screen->modes) {
        if (!isOwnMode(mode, output)) continue;
        xcb_randr_delete_output_mode(c, output, mode.id);
        xcb_randr_destroy_mode(c, mode.id);
    }
    finish(connection_);
}

void removeLeftovers(const X11Connection& connection, const X11Screen& screen) {
    const std::vector<uint32_t> outputs = ownOutputs(screen);
    if (outputs.empty()) return;
    const X11OwnOutputs own(connection);
    for (const uint32_t output : outputs) {
        if (own.isHeld(output)) continue;
        const ServerGrab grab(connection);
        // Another one may have taken it in this moment.
        if (!own.isHeld(output)) own.takeBack(output);
    }
}

}  // namespace quillon
