#include "platform/linux/x11_windows.hpp"

#include <xcb/xcb_ewmh.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace quillon {

namespace {

/// More atoms than any window lists as its types or states.
constexpr uint32_t kMostAtoms = 64;
constexpr uint32_t kMostClients = 16384;
/// Pixels of a frame at one side of its window: coordinates on a screen have 16 bits.
constexpr uint32_t kWidestFrame = 0x7FFF;

/// The atoms of EWMH on one server, at the price of one round trip.
class Ewmh {
  public:
    explicit Ewmh(const X11Connection& connection) : root_(connection.root()) {
        xcb_intern_atom_cookie_t* const cookies = xcb_ewmh_init_atoms(connection.get(), &atoms_);
        isKnown_ = xcb_ewmh_init_atoms_replies(&atoms_, cookies, nullptr) != 0;
    }
    ~Ewmh() {
        if (isKnown_) xcb_ewmh_connection_wipe(&atoms_);
    }
    Ewmh(const Ewmh&) = delete;
    Ewmh& operator=(const Ewmh&) = delete;

    /// False when the server is gone.
    bool isKnown() const { return isKnown_; }
    const xcb_ewmh_connection_t& atoms() const { return atoms_; }

    /// Is there a window manager that speaks EWMH? One that died leaves its property on the root window, but
    /// not the window that it names.
    bool hasManager() {
        xcb_window_t manager = XCB_NONE;
        xcb_window_t itself = XCB_NONE;
        return namesManager(root_, manager) && namesManager(manager, itself) && manager == itself;
    }

  private:
    bool namesManager(xcb_window_t window, xcb_window_t& manager) {
        const auto cookie = xcb_ewmh_get_supporting_wm_check(&atoms_, window);
        return xcb_ewmh_get_supporting_wm_check_reply(&atoms_, cookie, &manager, nullptr) != 0;
    }

    xcb_ewmh_connection_t atoms_{};
    const xcb_window_t root_;
    bool isKnown_ = false;
};

using PropertyReply = XReply<xcb_get_property_reply_t>;

/// The values of a property of 32-bit values; empty when the window has none, or is gone.
std::span<const uint32_t> valuesOf(const PropertyReply& reply) {
    if (!reply || reply->format != 32) return {};
    return {static_cast<const uint32_t*>(xcb_get_property_value(reply.get())), reply->value_len};
}

xcb_get_property_cookie_t askFor(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property,
                                 xcb_atom_t type, uint32_t most) {
    return xcb_get_property(c, 0, window, property, type, 0, most);
}

PropertyReply answer(xcb_connection_t* c, xcb_get_property_cookie_t cookie) {
    return owned(xcb_get_property_reply(c, cookie, nullptr));
}

/// Everything that is asked about one window. The questions for all windows go out before the first answer
/// is awaited.
struct Questions {
    xcb_window_t window;
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t place;
    xcb_get_property_cookie_t types;
    xcb_get_property_cookie_t states;
    xcb_get_property_cookie_t workspace;
    xcb_get_property_cookie_t frame;
};

Questions ask(const X11Connection& connection, const Ewmh& ewmh, xcb_window_t window) {
    xcb_connection_t* c = connection.get();
    const auto& atoms = ewmh.atoms();
    return {
        window,
        xcb_get_window_attributes(c, window),
        xcb_get_geometry(c, window),
        xcb_translate_coordinates(c, window, connection.root(), 0, 0),
        askFor(c, window, atoms._NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM, kMostAtoms),
        askFor(c, window, atoms._NET_WM_STATE, XCB_ATOM_ATOM, kMostAtoms),
        askFor(c, window, atoms._NET_WM_DESKTOP, XCB_ATOM_CARDINAL, 1),
        askFor(c, window, atoms._NET_FRAME_EXTENTS, XCB_ATOM_CARDINAL, 4),
    };
}

struct Answers {
    XReply<xcb_get_window_attributes_reply_t> attributes;
    XReply<xcb_get_geometry_reply_t> geometry;
    XReply<xcb_translate_coordinates_reply_t> place;
    PropertyReply types;
    PropertyReply states;
    PropertyReply workspace;
    PropertyReply frame;

    /// False for a window that died meanwhile.
    bool isComplete() const { return attributes && geometry && place; }
};

Answers takeAnswers(xcb_connection_t* c, const Questions& questions) {
    return {
        owned(xcb_get_window_attributes_reply(c, questions.attributes, nullptr)),
        owned(xcb_get_geometry_reply(c, questions.geometry, nullptr)),
        owned(xcb_translate_coordinates_reply(c, questions.place, nullptr)),
        answer(c, questions.types),
        answer(c, questions.states),
        answer(c, questions.workspace),
        answer(c, questions.frame),
    };
}

bool has(std::span<const uint32_t> values, uint32_t value) {
    return std::ranges::find(values, value) != values.end();
}

/// A window says what it is in the order of its preference; names that nobody knows are passed over, and a
/// window that says nothing is an ordinary one.
bool isOfAnApplication(const xcb_ewmh_connection_t& atoms, std::span<const uint32_t> types) {
    const std::array applications{atoms._NET_WM_WINDOW_TYPE_NORMAL, atoms._NET_WM_WINDOW_TYPE_DIALOG,
                                  atoms._NET_WM_WINDOW_TYPE_UTILITY, atoms._NET_WM_WINDOW_TYPE_TOOLBAR};
    const std::array others{atoms._NET_WM_WINDOW_TYPE_DESKTOP,       atoms._NET_WM_WINDOW_TYPE_DOCK,
                            atoms._NET_WM_WINDOW_TYPE_MENU,          atoms._NET_WM_WINDOW_TYPE_SPLASH,
                            atoms._NET_WM_WINDOW_TYPE_DROPDOWN_MENU, atoms._NET_WM_WINDOW_TYPE_POPUP_MENU,
                            atoms._NET_WM_WINDOW_TYPE_TOOLTIP,       atoms._NET_WM_WINDOW_TYPE_NOTIFICATION,
                            atoms._NET_WM_WINDOW_TYPE_COMBO,         atoms._NET_WM_WINDOW_TYPE_DND};
    for (const xcb_atom_t type : types) {
        if (has(applications, type)) return true;
        if (has(others, type)) return false;
    }
    return true;
}

/// Clocks, notes and other furniture of the desktop: on every workspace, in no list of windows.
bool isFurniture(const xcb_ewmh_connection_t& atoms, const Answers& window) {
    constexpr uint32_t kEveryWorkspace = 0xFFFFFFFF;
    const auto states = valuesOf(window.states);
    const bool everywhere =
        has(states, atoms._NET_WM_STATE_STICKY) || has(valuesOf(window.workspace), kEveryWorkspace);
    return everywhere && has(states, atoms._NET_WM_STATE_SKIP_TASKBAR) &&
           has(states, atoms._NET_WM_STATE_SKIP_PAGER);
}

bool isOrdinary(const xcb_ewmh_connection_t& atoms, const Answers& window) {
    return window.attributes->override_redirect == 0 &&
           window.attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT &&
           isOfAnApplication(atoms, valuesOf(window.types)) && !isFurniture(atoms, window);
}

/// The whole window on the root window: with the manager's frame, or its own border. Any program may write a
/// frame's extents, and no frame is wider than a screen can be.
PixelRect frameOf(const Answers& window) {
    const int border = window.geometry->border_width;
    std::array<int, 4> sides{border, border, border, border};  // left, right, top, bottom
    const auto extents = valuesOf(window.frame);
    const bool isFrame = extents.size() == sides.size() &&
                         std::ranges::all_of(extents, [](uint32_t side) { return side <= kWidestFrame; });
    if (isFrame) std::ranges::copy(extents, sides.begin());
    const auto [left, right, top, bottom] = sides;
    return {window.place->dst_x - left, window.place->dst_y - top, window.geometry->width + left + right,
            window.geometry->height + top + bottom};
}

std::vector<xcb_window_t> managedWindows(const X11Connection& connection, const Ewmh& ewmh) {
    xcb_connection_t* c = connection.get();
    const auto reply =
        answer(c, askFor(c, connection.root(), ewmh.atoms()._NET_CLIENT_LIST, XCB_ATOM_WINDOW, kMostClients));
    const auto windows = valuesOf(reply);
    return {windows.begin(), windows.end()};
}

std::vector<xcb_window_t> topLevelWindows(const X11Connection& connection) {
    xcb_connection_t* c = connection.get();
    const auto reply = owned(xcb_query_tree_reply(c, xcb_query_tree(c, connection.root()), nullptr));
    if (!reply) return {};
    const std::span windows(xcb_query_tree_children(reply.get()),
                            static_cast<size_t>(xcb_query_tree_children_length(reply.get())));
    return {windows.begin(), windows.end()};
}

bool exists(xcb_connection_t* c, xcb_window_t window) {
    return owned(xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr)) != nullptr;
}

/// Asks the window manager to put the frame's upper left corner there.
bool moveByManager(const X11Connection& connection, const Ewmh& ewmh, xcb_window_t window, int32_t x,
                   int32_t y) {
    constexpr uint32_t kHasPlace = 1 << 8 | 1 << 9;
    constexpr uint32_t kAskedByTheUser = 2 << 12;  // as pagers ask
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = ewmh.atoms()._NET_MOVERESIZE_WINDOW;
    message.data.data32[0] = XCB_GRAVITY_NORTH_WEST | kHasPlace | kAskedByTheUser;
    message.data.data32[1] = static_cast<uint32_t>(x);
    message.data.data32[2] = static_cast<uint32_t>(y);
    xcb_send_event(connection.get(), 0, connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    return exists(connection.get(), window);
}

bool moveDirectly(const X11Connection& connection, xcb_window_t window, int32_t x, int32_t y) {
    const std::array<uint32_t, 2> place{static_cast<uint32_t>(x), static_cast<uint32_t>(y)};
    const auto cookie = xcb_configure_window_checked(connection.get(), window,
                                                     XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place.data());
    const auto error = owned(xcb_request_check(connection.get(), cookie));
    return !error && connection.isAlive();
}

}  // namespace

std::vector<Windows::Window> X11Windows::all() {
    const PixelRect origin = view_.desktop().mainPlace();
    const X11Connection* connection = view_.connection();
    if (connection == nullptr) return {};
    Ewmh ewmh(*connection);
    if (!ewmh.isKnown()) return {};
    const bool managed = ewmh.hasManager();
    std::vector<Questions> questions;
    for (const xcb_window_t window :
         managed ? managedWindows(*connection, ewmh) : topLevelWindows(*connection)) {
        questions.push_back(ask(*connection, ewmh, window));
    }
    std::vector<Window> windows;
    for (const Questions& each : questions) {
        const Answers answers = takeAnswers(connection->get(), each);
        if (!answers.isComplete() || !isOrdinary(ewmh.atoms(), answers)) continue;
        if (!managed && answers.attributes->map_state != XCB_MAP_STATE_VIEWABLE) continue;
        const PixelRect frame = frameOf(answers);
        windows.push_back({each.window,
                           {static_cast<double>(frame.x - origin.x), static_cast<double>(frame.y - origin.y),
                            static_cast<double>(frame.width), static_cast<double>(frame.height)}});
    }
    return windows;
}

bool X11Windows::move(uint64_t id, Point origin) {
    const PixelRect corner = view_.desktop().mainPlace();
    const X11Connection* connection = view_.connection();
    if (connection == nullptr) return false;
    Ewmh ewmh(*connection);
    if (!ewmh.isKnown()) return false;
    const auto window = static_cast<xcb_window_t>(id);
    const auto x = static_cast<int32_t>(std::lround(origin.x)) + corner.x;
    const auto y = static_cast<int32_t>(std::lround(origin.y)) + corner.y;
    return ewmh.hasManager() ? moveByManager(*connection, ewmh, window, x, y)
                             : moveDirectly(*connection, window, x, y);
}

}  // namespace quillon
