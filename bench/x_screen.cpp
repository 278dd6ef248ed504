#include "bench/x_screen.hpp"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdlib>
#include <stdexcept>

namespace quillon::bench {
namespace {

constexpr uint8_t kDepth = 24;

template <typename T>
std::unique_ptr<T, decltype(&std::free)> owned(T* reply) {
    return {reply, &std::free};
}

}  // namespace

XScreen::XScreen(Size wanted) {
    int number = 0;
    connection_.reset(xcb_connect(nullptr, &number));
    if (xcb_connection_has_error(connection_.get()))
        throw std::runtime_error("no X server answers at DISPLAY");
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection_.get()));
    while (number-- > 0) xcb_screen_next(&screens);
    if (screens.data->root_depth != kDepth) throw std::runtime_error("the screen has no 24-bit colour");
    if (!owned(xcb_shm_query_version_reply(connection_.get(), xcb_shm_query_version(connection_.get()),
                                           nullptr))) {
        throw std::runtime_error("the server shares no memory (MIT-SHM)");
    }
    size_ = wanted.isEmpty() ? Size{screens.data->width_in_pixels, screens.data->height_in_pixels} : wanted;
    openWindow(*screens.data);
}

XScreen::~XScreen() {
    connection_.reset();
    for (void* memory : attached_) shmdt(memory);
}

void XScreen::openWindow(const xcb_screen_t& screen) {
    xcb_connection_t* c = connection_.get();
    const xcb_pixmap_t nothing = xcb_generate_id(c);
    xcb_create_pixmap(c, 1, nothing, screen.root, 1, 1);
    const xcb_gcontext_t clear = xcb_generate_id(c);
    const uint32_t zero = 0;
    xcb_create_gc(c, clear, nothing, XCB_GC_FOREGROUND, &zero);
    const xcb_rectangle_t pixel{0, 0, 1, 1};
    xcb_poly_fill_rectangle(c, nothing, clear, 1, &pixel);
    const xcb_cursor_t invisible = xcb_generate_id(c);
    xcb_create_cursor(c, invisible, nothing, nothing, 0, 0, 0, 0, 0, 0, 0, 0);

    window_ = xcb_generate_id(c);
    const uint32_t values[] = {screen.black_pixel, 1, invisible};
    xcb_create_window(c, kDepth, window_, screen.root, 0, 0, static_cast<uint16_t>(size_.width),
                      static_cast<uint16_t>(size_.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen.root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_CURSOR,
                      values);
    context_ = xcb_generate_id(c);
    xcb_create_gc(c, context_, window_, XCB_GC_GRAPHICS_EXPOSURES, &zero);
    xcb_map_window(c, window_);
}

Sheet XScreen::make(Size size) {
    const size_t bytes =
        static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * sizeof(uint32_t);
    const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    void* memory = id < 0 ? reinterpret_cast<void*>(-1) : shmat(id, nullptr, 0);
    if (memory == reinterpret_cast<void*>(-1)) throw std::runtime_error("no shared memory");
    attached_.push_back(memory);
    const xcb_shm_seg_t segment = xcb_generate_id(connection_.get());
    const auto request = xcb_shm_attach_checked(connection_.get(), segment, static_cast<uint32_t>(id), true);
    const auto error = owned(xcb_request_check(connection_.get(), request));
    shmctl(id, IPC_RMID, nullptr);
    if (error) throw std::runtime_error("the server cannot attach shared memory");
    return {size, static_cast<uint32_t*>(memory), segment};
}

void XScreen::put(const Sheet& sheet, const PixelRect& from, int x, int y) {
    xcb_shm_put_image(connection_.get(), window_, context_, static_cast<uint16_t>(sheet.size.width),
                      static_cast<uint16_t>(sheet.size.height), static_cast<uint16_t>(from.x),
                      static_cast<uint16_t>(from.y), static_cast<uint16_t>(from.width),
                      static_cast<uint16_t>(from.height), static_cast<int16_t>(x), static_cast<int16_t>(y),
                      kDepth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, sheet.segment, 0);
}

void XScreen::begin() {
    xcb_grab_server(connection_.get());
}

void XScreen::end() {
    xcb_ungrab_server(connection_.get());
    const auto reply =
        owned(xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
    if (!reply) throw std::runtime_error("the X server has gone");
}

}  // namespace quillon::bench
