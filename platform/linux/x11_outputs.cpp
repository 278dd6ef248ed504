#include "platform/linux/x11_outputs.hpp"

#include <xcb/randr.h>

#include <algorithm>
#include <map>
#include <span>
#include <string_view>

namespace quillon {

namespace {

/// Bit 7 marks events that another client sent.
constexpr uint8_t kEventTypeMask = 0x7F;

constexpr uint16_t kQuarterTurns = XCB_RANDR_ROTATION_ROTATE_90 | XCB_RANDR_ROTATION_ROTATE_270;

DisplayMode modeOf(const xcb_randr_mode_info_t& info, bool sideways) {
    const int width = sideways ? info.height : info.width;
    const int height = sideways ? info.width : info.height;
    return {width, height, width, height, info.id};
}

/// RandR 1.2 brought outputs; this asks for what is known without probing connectors (1.3).
bool hasOutputs(const X11Connection& connection) {
    if (connection.extension(xcb_randr_id) == nullptr) return false;
    const auto cookie = xcb_randr_query_version(connection.get(), 1, 5);
    const auto version = owned(xcb_randr_query_version_reply(connection.get(), cookie, nullptr));
    return version && (version->major_version > 1 || version->minor_version >= 3);
}

X11Desktop rootAsDesktop(const X11Connection& connection) {
    X11Desktop desktop;
    const auto cookie = xcb_get_geometry(connection.get(), connection.root());
    const auto geometry = owned(xcb_get_geometry_reply(connection.get(), cookie, nullptr));
    if (!geometry) return desktop;
    X11Output output;
    output.id = desktop.main = connection.root();
    output.place = {0, 0, geometry->width, geometry->height};
    output.mode = connection.root();
    output.modes = {{geometry->width, geometry->height, geometry->width, geometry->height, output.mode}};
    desktop.outputs.push_back(std::move(output));
    return desktop;
}

using CrtcReplies = std::map<xcb_randr_crtc_t, XReply<xcb_randr_get_crtc_info_reply_t>>;
using ModeInfos = std::map<xcb_randr_mode_t, xcb_randr_mode_info_t>;

std::optional<X11Output> activeOutput(xcb_randr_output_t id, const xcb_randr_get_output_info_reply_t& info,
                                      const CrtcReplies& crtcs, const ModeInfos& known) {
    const auto crtc = crtcs.find(info.crtc);
    if (crtc == crtcs.end() || !crtc->second || crtc->second->mode == XCB_NONE) return std::nullopt;
    const auto& place = *crtc->second;
    X11Output output;
    output.id = id;
    output.place = {place.x, place.y, place.width, place.height};
    output.mode = place.mode;
    const bool sideways = (place.rotation & kQuarterTurns) != 0;
    const std::span modes(xcb_randr_get_output_info_modes(&info), info.num_modes);
    for (const xcb_randr_mode_t mode : modes) {
        const auto entry = known.find(mode);
        if (entry != known.end()) output.modes.push_back(modeOf(entry->second, sideways));
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

X11Desktop readDesktop(const X11Connection& connection) {
    if (!hasOutputs(connection)) return rootAsDesktop(connection);
    xcb_connection_t* c = connection.get();
    const auto resourcesCookie = xcb_randr_get_screen_resources_current(c, connection.root());
    const auto primaryCookie = xcb_randr_get_output_primary(c, connection.root());
    const auto resources = owned(xcb_randr_get_screen_resources_current_reply(c, resourcesCookie, nullptr));
    const auto primary = owned(xcb_randr_get_output_primary_reply(c, primaryCookie, nullptr));
    X11Desktop desktop;
    if (!resources) return desktop;

    // All questions first, then all answers: two round trips whatever the number of outputs.
    const auto time = resources->config_timestamp;
    const std::span outputIDs(xcb_randr_get_screen_resources_current_outputs(resources.get()),
                              resources->num_outputs);
    const std::span crtcIDs(xcb_randr_get_screen_resources_current_crtcs(resources.get()),
                            resources->num_crtcs);
    std::vector<xcb_randr_get_output_info_cookie_t> outputCookies;
    std::vector<xcb_randr_get_crtc_info_cookie_t> crtcCookies;
    outputCookies.reserve(outputIDs.size());
    crtcCookies.reserve(crtcIDs.size());
    for (const auto id : outputIDs) outputCookies.push_back(xcb_randr_get_output_info(c, id, time));
    for (const auto id : crtcIDs) crtcCookies.push_back(xcb_randr_get_crtc_info(c, id, time));

    std::vector<XReply<xcb_randr_get_output_info_reply_t>> infos;
    infos.reserve(outputIDs.size());
    for (const auto cookie : outputCookies) {
        infos.push_back(owned(xcb_randr_get_output_info_reply(c, cookie, nullptr)));
    }
    CrtcReplies crtcs;
    for (size_t i = 0; i < crtcIDs.size(); ++i) {
        crtcs[crtcIDs[i]] = owned(xcb_randr_get_crtc_info_reply(c, crtcCookies[i], nullptr));
    }
    ModeInfos modes;
    for (const auto& mode :
         std::span(xcb_randr_get_screen_resources_current_modes(resources.get()), resources->num_modes)) {
        modes[mode.id] = mode;
    }
    for (size_t i = 0; i < outputIDs.size(); ++i) {
        if (!infos[i]) continue;
        if (auto output = activeOutput(outputIDs[i], *infos[i], crtcs, modes)) {
            desktop.outputs.push_back(std::move(*output));
        }
    }
    if (!desktop.outputs.empty()) desktop.main = desktop.outputs.front().id;
    if (primary && desktop.find(primary->output) != nullptr) desktop.main = primary->output;
    return desktop;
}

bool isWaylandBridge(const X11Connection& connection) {
    constexpr std::string_view kBridge = "XWAYLAND";
    if (!hasOutputs(connection)) return false;
    xcb_connection_t* c = connection.get();
    const auto cookie = xcb_randr_get_screen_resources_current(c, connection.root());
    const auto resources = owned(xcb_randr_get_screen_resources_current_reply(c, cookie, nullptr));
    if (!resources || resources->num_outputs == 0) return false;
    const auto first = xcb_randr_get_screen_resources_current_outputs(resources.get())[0];
    const auto question = xcb_randr_get_output_info(c, first, resources->config_timestamp);
    const auto info = owned(xcb_randr_get_output_info_reply(c, question, nullptr));
    if (!info) return false;
    const std::string_view name(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get())),
                                info->name_len);
    return name.starts_with(kBridge);
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
