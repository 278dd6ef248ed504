#include "platform/linux/x11_screen.hpp"

#include <xcb/randr.h>

#include <algorithm>
#include <cmath>
#include <span>

namespace quillon {

namespace {

std::vector<X11Screen::Mode> modesOf(const xcb_randr_get_screen_resources_current_reply_t& resources) {
    std::vector<X11Screen::Mode> modes;
    modes.reserve(resources.num_modes);
    const auto* name =
        reinterpret_cast<const char*>(xcb_randr_get_screen_resources_current_names(&resources));
    for (const auto& info :
         std::span(xcb_randr_get_screen_resources_current_modes(&resources), resources.num_modes)) {
        modes.push_back({info.id, std::string(name, info.name_len), {info.width, info.height}});
        name += info.name_len;
    }
    return modes;
}

X11Screen::Output outputOf(xcb_randr_output_t id, const xcb_randr_get_output_info_reply_t& info) {
    const std::span crtcs(xcb_randr_get_output_info_crtcs(&info), info.num_crtcs);
    const std::span modes(xcb_randr_get_output_info_modes(&info), info.num_modes);
    return {id,
            {reinterpret_cast<const char*>(xcb_randr_get_output_info_name(&info)), info.name_len},
            info.connection == XCB_RANDR_CONNECTION_CONNECTED,
            {crtcs.begin(), crtcs.end()},
            {modes.begin(), modes.end()}};
}

X11Crtc crtcOf(xcb_randr_crtc_t id, const xcb_randr_get_crtc_info_reply_t& info) {
    const std::span outputs(xcb_randr_get_crtc_info_outputs(&info), info.num_outputs);
    if (info.mode == XCB_NONE) return {id};
    return {id,
            {info.x, info.y, info.width, info.height},
            info.mode,
            info.rotation,
            {outputs.begin(), outputs.end()}};
}

/// At the density of the time when the connection was made: no request asks for the present one.
Size millimetresNow(const xcb_screen_t& then, Size pixels) {
    const auto scaled = [](int now, int pixelsThen, int millimetresThen) {
        return pixelsThen == 0
                   ? 0
                   : static_cast<int>(std::lround(static_cast<double>(now) * millimetresThen / pixelsThen));
    };
    return {scaled(pixels.width, then.width_in_pixels, then.width_in_millimeters),
            scaled(pixels.height, then.height_in_pixels, then.height_in_millimeters)};
}

bool setScreenSize(const X11Connection& connection, Size pixels, Size millimetres) {
    const auto cookie = xcb_randr_set_screen_size_checked(
        connection.get(), connection.root(), static_cast<uint16_t>(pixels.width),
        static_cast<uint16_t>(pixels.height), static_cast<uint32_t>(millimetres.width),
        static_cast<uint32_t>(millimetres.height));
    return !owned(xcb_request_check(connection.get(), cookie)) && connection.isAlive();
}

bool setCrtc(const X11Connection& connection, const X11Crtc& crtc, uint32_t time) {
    const auto cookie = xcb_randr_set_crtc_config(
        connection.get(), crtc.id, XCB_CURRENT_TIME, time, static_cast<int16_t>(crtc.place.x),
        static_cast<int16_t>(crtc.place.y), crtc.mode, crtc.rotation,
        static_cast<uint32_t>(crtc.outputs.size()), crtc.outputs.data());
    const auto reply = owned(xcb_randr_set_crtc_config_reply(connection.get(), cookie, nullptr));
    return reply && reply->status == XCB_RANDR_SET_CONFIG_SUCCESS;
}

/// The steps from one layout to another, and back when one of them fails.
class Reconfiguration {
  public:
    Reconfiguration(const X11Connection& connection, const X11Screen& now)
        : connection_(connection),
          now_(now),
          pixels_(now.layout.size),
          millimetres_(now.layout.millimetres) {}

    bool make(const X11Layout& wanted) {
        const Size size{std::max(wanted.size.width, now_.smallest.width),
                        std::max(wanted.size.height, now_.smallest.height)};
        const Size grown{std::max(size.width, pixels_.width), std::max(size.height, pixels_.height)};
        if (size.width > now_.largest.width || size.height > now_.largest.height) return false;
        if (grown != pixels_ && !resize(grown, wanted.millimetres)) return false;
        // First what becomes free: it may hold what another one needs.
        for (const X11Crtc& crtc : wanted.crtcs) {
            if (!crtc.isActive() && !change(crtc)) return false;
        }
        for (const X11Crtc& crtc : wanted.crtcs) {
            if (crtc.isActive() && !change(crtc)) return false;
        }
        return resize(size, wanted.millimetres);
    }

    void takeBack() {
        for (; !changed_.empty(); changed_.pop_back()) setCrtc(connection_, changed_.back(), now_.time);
        resize(now_.layout.size, now_.layout.millimetres);
    }

  private:
    bool resize(Size pixels, Size millimetres) {
        if (pixels == pixels_ && millimetres == millimetres_) return true;
        if (!setScreenSize(connection_, pixels, millimetres)) return false;
        pixels_ = pixels;
        millimetres_ = millimetres;
        return true;
    }

    bool change(const X11Crtc& crtc) {
        const auto before = std::ranges::find(now_.layout.crtcs, crtc.id, &X11Crtc::id);
        if (before == now_.layout.crtcs.end() || *before == crtc) return true;
        if (!setCrtc(connection_, crtc, now_.time)) return false;
        changed_.push_back(*before);
        return true;
    }

    const X11Connection& connection_;
    const X11Screen& now_;
    Size pixels_, millimetres_;     ///< of the root window by now
    std::vector<X11Crtc> changed_;  ///< as they were
};

}  // namespace

const X11Screen::Mode* X11Screen::mode(uint32_t id) const {
    const auto found = std::ranges::find(modes, id, &Mode::id);
    return found == modes.end() ? nullptr : &*found;
}

const X11Screen::Output* X11Screen::output(uint32_t id) const {
    const auto found = std::ranges::find(outputs, id, &Output::id);
    return found == outputs.end() ? nullptr : &*found;
}

/// RandR 1.2 brought outputs; what is known is asked for without probing connectors (1.3).
bool hasOutputs(const X11Connection& connection) {
    if (connection.extension(xcb_randr_id) == nullptr) return false;
    const auto cookie = xcb_randr_query_version(connection.get(), 1, 5);
    const auto version = owned(xcb_randr_query_version_reply(connection.get(), cookie, nullptr));
    return version && (version->major_version > 1 || version->minor_version >= 3);
}

std::optional<X11Screen> readScreen(const X11Connection& connection) {
    if (!hasOutputs(connection)) return std::nullopt;
    xcb_connection_t* c = connection.get();
    const auto resourcesCookie = xcb_randr_get_screen_resources_current(c, connection.root());
    const auto primaryCookie = xcb_randr_get_output_primary(c, connection.root());
    const auto rangeCookie = xcb_randr_get_screen_size_range(c, connection.root());
    const auto rootCookie = xcb_get_geometry(c, connection.root());
    const auto resources = owned(xcb_randr_get_screen_resources_current_reply(c, resourcesCookie, nullptr));
    const auto primary = owned(xcb_randr_get_output_primary_reply(c, primaryCookie, nullptr));
    const auto range = owned(xcb_randr_get_screen_size_range_reply(c, rangeCookie, nullptr));
    const auto root = owned(xcb_get_geometry_reply(c, rootCookie, nullptr));
    if (!resources || !primary || !range || !root) return std::nullopt;

    X11Screen screen;
    screen.time = resources->config_timestamp;
    screen.primary = primary->output;
    screen.smallest = {range->min_width, range->min_height};
    screen.largest = {range->max_width, range->max_height};
    screen.layout.size = {root->width, root->height};
    screen.layout.millimetres = millimetresNow(connection.screen(), screen.layout.size);
    screen.modes = modesOf(*resources);

    // All questions first, then all answers: one round trip whatever the number of outputs.
    const std::span outputs(xcb_randr_get_screen_resources_current_outputs(resources.get()),
                            resources->num_outputs);
    const std::span crtcs(xcb_randr_get_screen_resources_current_crtcs(resources.get()),
                          resources->num_crtcs);
    std::vector<xcb_randr_get_output_info_cookie_t> outputCookies;
    std::vector<xcb_randr_get_crtc_info_cookie_t> crtcCookies;
    outputCookies.reserve(outputs.size());
    crtcCookies.reserve(crtcs.size());
    for (const auto id : outputs) outputCookies.push_back(xcb_randr_get_output_info(c, id, screen.time));
    for (const auto id : crtcs) crtcCookies.push_back(xcb_randr_get_crtc_info(c, id, screen.time));
    for (size_t i = 0; i < outputs.size(); ++i) {
        const auto info = owned(xcb_randr_get_output_info_reply(c, outputCookies[i], nullptr));
        if (info) screen.outputs.push_back(outputOf(outputs[i], *info));
    }
    for (size_t i = 0; i < crtcs.size(); ++i) {
        const auto info = owned(xcb_randr_get_crtc_info_reply(c, crtcCookies[i], nullptr));
        if (info) screen.layout.crtcs.push_back(crtcOf(crtcs[i], *info));
    }
    if (!connection.isAlive()) return std::nullopt;
    return screen;
}

bool reconfigure(const X11Connection& connection, const X11Screen& now, const X11Layout& wanted) {
    Reconfiguration steps(connection, now);
    if (steps.make(wanted)) return true;
    steps.takeBack();
    return false;
}

}  // namespace quillon
