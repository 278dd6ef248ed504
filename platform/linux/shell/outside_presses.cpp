#include "platform/linux/shell/outside_presses.hpp"

#include <xcb/xinput.h>

#include <QApplication>
#include <QCursor>
#include <utility>

#include "platform/linux/shell/x11_desktop.hpp"

namespace quillon {

namespace {

int xinputOpcode() {
    xcb_connection_t* const c = toolkitConnection();
    if (c == nullptr) return 0;
    const auto* const extension = xcb_get_extension_data(c, &xcb_input_id);
    return extension != nullptr && extension->present != 0 ? extension->major_opcode : 0;
}

}  // namespace

OutsidePresses::OutsidePresses(std::function<void()> onPress)
    : onPress_(std::move(onPress)), opcode_(xinputOpcode()) {
    listen(true);
    qApp->installNativeEventFilter(this);
}

OutsidePresses::~OutsidePresses() {
    qApp->removeNativeEventFilter(this);
    listen(false);
}

void OutsidePresses::listen(bool on) const {
    if (opcode_ == 0) return;
    xcb_connection_t* const c = toolkitConnection();
    struct {
        xcb_input_event_mask_t head;
        uint32_t mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
                on ? uint32_t{XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS} : 0};
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    xcb_input_xi_select_events(c, root, 1, &selection.head);
    xcb_flush(c);
}

bool OutsidePresses::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
    if (opcode_ == 0 || type != "xcb_generic_event_t") return false;
    const auto* const event = static_cast<const xcb_ge_generic_event_t*>(message);
    if ((event->response_type & 0x7F) == XCB_GE_GENERIC && event->extension == opcode_ &&
        event->event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
        // Our own dialogs and menus are no outside.
        if (QApplication::topLevelAt(QCursor::pos()) == nullptr) onPress_();
    }
    return false;
}

}  // namespace quillon
