#include "app/display_list_mode.hpp"

#include <cstdio>

#include "app/display_text.hpp"

namespace quillon {

void printDisplays(Displays& displays) {
    const auto active = displays.active();
    if (active.empty())
        std::puts("No active display: no display server can be reached, or it shows nothing.");
    for (const DisplayID display : active) std::puts(displayText(displays, display).c_str());
}

}  // namespace quillon
