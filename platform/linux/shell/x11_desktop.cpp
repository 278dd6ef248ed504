#include "platform/linux/shell/x11_desktop.hpp"

#include <QGuiApplication>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace quillon {

namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
std::unique_ptr<Reply, Free> owned(Reply* reply) {
    return std::unique_ptr<Reply, Free>(reply);
}

xcb_window_t selectionOwner(const char* selection) {
    xcb_connection_t* const c = toolkitConnection();
    if (c == nullptr) return 0;
    const auto reply =
        owned(xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, atomNamed(selection)), nullptr));
    return reply ? reply->owner : 0;
}

}  // namespace

xcb_connection_t* toolkitConnection() {
    auto* const application = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return application != nullptr ? application->connection() : nullptr;
}

xcb_atom_t atomNamed(const char* name) {
    xcb_connection_t* const c = toolkitConnection();
    if (c == nullptr) return XCB_ATOM_NONE;
    const auto length = static_cast<uint16_t>(std::strlen(name));
    const auto reply = owned(xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, length, name), nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

xcb_window_t systemTray() {
    return selectionOwner("_NET_SYSTEM_TRAY_S0");
}

std::optional<QColor> systemTrayColor() {
    const xcb_window_t tray = systemTray();
    if (tray == 0) return std::nullopt;
    // Red, green and blue with 16 bits each for the foreground, then three more colours.
    constexpr uint32_t kComponents = 3;
    xcb_connection_t* const c = toolkitConnection();
    const auto question =
        xcb_get_property(c, 0, tray, atomNamed("_NET_SYSTEM_TRAY_COLORS"), XCB_ATOM_CARDINAL, 0, kComponents);
    const auto reply = owned(xcb_get_property_reply(c, question, nullptr));
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 12) return std::nullopt;
    const auto* component = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    const auto eightBits = [&](int i) { return static_cast<int>(component[i] >> 8 & 0xFF); };
    return QColor(eightBits(0), eightBits(1), eightBits(2));
}

bool isCompositing() {
    return selectionOwner("_NET_WM_CM_S0") != 0;
}

}  // namespace quillon
