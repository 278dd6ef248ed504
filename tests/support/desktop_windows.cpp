#include "tests/support/desktop_windows.hpp"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace quillon::testing {

namespace {

using namespace std::chrono_literals;

constexpr const char* kManager = "/usr/bin/openbox";
constexpr uint32_t kMostValues = 4096;

template <typename Reply>
auto owned(Reply* reply) {
    return std::unique_ptr<Reply, decltype(&std::free)>(reply, &std::free);
}

}  // namespace

bool eventually(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

std::string WindowManager::missing() {
    return std::filesystem::exists(kManager) ? "" : "openbox is not installed";
}

WindowManager::WindowManager()
    : probe_(windows_.open({0, 0, 100, 100})), process_({kManager, "--sm-disable"}) {}

std::unique_ptr<WindowManager> WindowManager::start() {
    std::unique_ptr<WindowManager> manager(new WindowManager);
    TestWindows& windows = manager->windows_;
    if (!eventually([&] { return windows.isManaged(manager->probe_); })) return nullptr;
    windows.close(manager->probe_);
    return manager;
}

TestWindows::TestWindows() : connection_(xcb_connect(nullptr, nullptr)) {
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
}

TestWindows::~TestWindows() {
    xcb_disconnect(connection_);
}

xcb_atom_t TestWindows::atom(const std::string& name) {
    const auto cookie = xcb_intern_atom(connection_, 0, static_cast<uint16_t>(name.size()), name.c_str());
    const auto reply = owned(xcb_intern_atom_reply(connection_, cookie, nullptr));
    return reply ? reply->atom : XCB_NONE;
}

std::vector<uint32_t> TestWindows::property(xcb_window_t window, const std::string& name) {
    const auto cookie = xcb_get_property(connection_, 0, window, atom(name), XCB_ATOM_ANY, 0, kMostValues);
    const auto reply = owned(xcb_get_property_reply(connection_, cookie, nullptr));
    if (!reply || reply->format != 32) return {};
    const auto* values = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
}

xcb_window_t TestWindows::open(const PixelRect& place, const Kind& kind) {
    const xcb_window_t window = xcb_generate_id(connection_);
    const uint32_t overrideRedirect = kind.overrideRedirect ? 1 : 0;
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, root_, static_cast<int16_t>(place.x),
                      static_cast<int16_t>(place.y), static_cast<uint16_t>(place.width),
                      static_cast<uint16_t>(place.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &overrideRedirect);
    const auto set = [&](const std::string& name, xcb_atom_t type, const std::vector<uint32_t>& values) {
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom(name), type, 32,
                            static_cast<uint32_t>(values.size()), values.data());
    };
    std::vector<uint32_t> hints(18, 0);
    hints[0] = 1;  // the user chose the place
    set("WM_NORMAL_HINTS", XCB_ATOM_WM_SIZE_HINTS, hints);
    if (!kind.type.empty()) {
        set("_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, {atom("_NET_WM_WINDOW_TYPE_" + kind.type)});
    }
    std::vector<uint32_t> states;
    for (const std::string& state : kind.states) states.push_back(atom("_NET_WM_STATE_" + state));
    if (!states.empty()) set("_NET_WM_STATE", XCB_ATOM_ATOM, states);
    if (kind.workspace) set("_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, {*kind.workspace});
    if (!kind.frameExtents.empty()) set("_NET_FRAME_EXTENTS", XCB_ATOM_CARDINAL, kind.frameExtents);
    if (kind.mapped) {
        xcb_map_window(connection_, window);
        xcb_flush(connection_);
        if (!kind.overrideRedirect && hasManager()) eventually([&] { return isManaged(window); });
    }
    isManaged(window);  // a round trip
    return window;
}

bool TestWindows::hasManager() {
    return !property(root_, "_NET_SUPPORTING_WM_CHECK").empty();
}

bool TestWindows::isManaged(xcb_window_t window) {
    for (const uint32_t each : property(root_, "_NET_CLIENT_LIST")) {
        if (each == window) return true;
    }
    return false;
}

void TestWindows::close(xcb_window_t window) {
    xcb_destroy_window(connection_, window);
    frame(window);  // a round trip
}

void TestWindows::minimise(xcb_window_t window) {
    constexpr uint32_t kIconic = 3;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom("WM_CHANGE_STATE");
    message.data.data32[0] = kIconic;
    xcb_send_event(connection_, 0, root_,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(connection_);
    eventually([&] {
        const auto state = property(window, "WM_STATE");
        return !state.empty() && state[0] == kIconic;
    });
}

PixelRect TestWindows::frame(xcb_window_t window) {
    const auto size =
        owned(xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr));
    const auto place = owned(xcb_translate_coordinates_reply(
        connection_, xcb_translate_coordinates(connection_, window, root_, 0, 0), nullptr));
    if (!size || !place) return {};
    const int border = size->border_width;
    std::array<int, 4> sides{border, border, border, border};
    if (const auto extents = property(window, "_NET_FRAME_EXTENTS"); extents.size() == sides.size()) {
        std::copy(extents.begin(), extents.end(), sides.begin());
    }
    return {place->dst_x - sides[0], place->dst_y - sides[2], size->width + sides[0] + sides[1],
            size->height + sides[2] + sides[3]};
}

bool TestWindows::comesTo(xcb_window_t window, int x, int y) {
    return eventually([&] {
        const PixelRect now = frame(window);
        return now.x == x && now.y == y;
    });
}

}  // namespace quillon::testing
