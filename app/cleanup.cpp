#include <cstdio>
#include <cstdlib>

#include "app/display_modes.hpp"
#include "app/display_text.hpp"
#include "app/wait.hpp"
#include "session/desktop.hpp"

namespace quillon {

namespace {

/// The desktop needs this long to come to rest.
constexpr Duration kSettles = 2s;

}  // namespace

int runCleanup(Platform& platform) {
    Displays& displays = platform.displays();
    const auto stale = ourDisplays(displays);
    std::printf("[cleanup] stale Quillon displays: %s\n", listText(stale).c_str());
    for (const DisplayID display : stale) {
        if (!displays.mirroring(display).inMirrorSet || !displays.stopMirroring(display)) continue;
        std::printf("[cleanup] unmirrored %u\n", display);
    }
    platform.virtualDisplays().removeLeftovers();
    waitFor(platform.mainLoop(), kSettles);
    std::printf("[cleanup] remaining: %s\n", listText(ourDisplays(displays)).c_str());
    return EXIT_SUCCESS;
}

}  // namespace quillon
