#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "display/pv_virtual_display.h"
#include "platform/platform.hpp"

// What a virtual display costs: creates and destroys one so many times on the server that DISPLAY names, and
// prints a line for each, the milliseconds until it was ready and those until it was gone.

namespace {

using namespace quillon;
using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

}  // namespace

int main(int argc, char** argv) {
    const int times = argc > 1 ? std::atoi(argv[1]) : 20;
    const uint32_t widths[] = {2048, 2732, 2388, 2048, 1536, 1668, 1600, 1024};
    const uint32_t heights[] = {1536, 2048, 1668, 2732, 2048, 2388, 1200, 768};
    const auto platform = makePlatform();
    for (int i = 0; i < times; ++i) {
        const auto start = Clock::now();
        void* const display = pv_virtual_display_create_sizes(widths, heights, 8, 0, 8192, 8192, "Cost", 60);
        const Rect bounds = platform->displays().bounds(pv_virtual_display_id(display));
        const auto ready = Clock::now();
        pv_virtual_display_destroy(display);
        const auto gone = Clock::now();
        if (bounds.width != widths[0] || bounds.height != heights[0]) {
            std::fputs("no virtual display of the size that was asked for\n", stderr);
            return EXIT_FAILURE;
        }
        std::printf("%.2f %.2f\n", milliseconds(ready - start), milliseconds(gone - ready));
    }
    return EXIT_SUCCESS;
}
