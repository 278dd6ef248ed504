// quillon-pointer STEP COUNT MILLISECONDS: moves the pointer of DISPLAY COUNT times by STEP pixels to the
// right, one move each MILLISECONDS, and prints "x nanoseconds" (CLOCK_MONOTONIC, before the move is
// asked for) per move.

#include <time.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kMillisecond = 1'000'000;
constexpr int kStart = 100;  ///< pixels from the left and top edges

int64_t now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kSecond + time.tv_nsec;
}

void moveTo(xcb_connection_t* connection, xcb_window_t root, int x) {
    xcb_test_fake_input(connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root, static_cast<int16_t>(x),
                        kStart, 0);
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        fprintf(stderr, "quillon-pointer STEP COUNT MILLISECONDS\n");
        return 1;
    }
    const int step = std::atoi(argv[1]);
    const int count = std::atoi(argv[2]);
    const int64_t interval = std::atoi(argv[3]) * kMillisecond;

    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) {
        fprintf(stderr, "quillon-pointer: no X server answers at DISPLAY\n");
        return 1;
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    const int64_t start = now();
    for (int i = 0; i < count && !xcb_connection_has_error(connection); ++i) {
        const int64_t due = start + i * interval;
        const timespec time{due / kSecond, due % kSecond};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
        const int x = kStart + i * step;
        const int64_t moved = now();
        moveTo(connection, root, x);
        printf("%d %lld\n", x, static_cast<long long>(moved));
    }
    xcb_disconnect(connection);
    return 0;
}
