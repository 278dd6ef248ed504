#include <array>
#include <cstdio>
#include <cstdlib>

#include "app/display_modes.hpp"
#include "app/wait.hpp"

namespace quillon {

namespace {

constexpr std::array kDelays{2, 5, 10, 20, 30};  // seconds

/// Null when there is none, or it got no identifier.
std::unique_ptr<VirtualDisplay> create(Platform& platform, const char* name) {
    VirtualDisplayRequest request;
    request.name = name;
    request.modes = {{1024, 768}};
    request.maxPixels = {2048, 1536};
    auto display = platform.virtualDisplays().create(request);
    return display && display->id() != 0 ? std::move(display) : nullptr;
}

}  // namespace

int runCycleTest(Platform& platform) {
    auto display = create(platform, "CycleTest");
    if (!display) {
        std::puts("initial CREATE FAILED");
        return EXIT_FAILURE;
    }
    std::printf("created id=%u\n", display->id());
    display.reset();
    std::puts("destroyed; polling for recovery");
    for (const int delay : kDelays) {
        waitFor(platform.mainLoop(), std::chrono::seconds(delay));
        display = create(platform, "CycleTest2");
        if (display) {
            // The delay of this step, not of all: so it has always been printed.
            std::printf("recreate succeeded after ~%ds cumulative, id=%u\n", delay, display->id());
            return EXIT_SUCCESS;
        }
        std::printf("  still failing after +%ds\n", delay);
    }
    std::puts("no recovery within ~67s");
    return EXIT_SUCCESS;
}

}  // namespace quillon
