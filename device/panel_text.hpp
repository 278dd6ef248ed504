#pragma once

#include <string>

#include "base/geometry.hpp"
#include "base/text.hpp"

// The two texts in which this device tells its panel size. Hosts look for the size token only, in a
// greeting of five tokens in the fifth.

namespace quillon::device {

inline std::string panelGreeting(Size panel) {
    return formatted("Quillon-Device 2 quillon-device/1 display %dx%d", panel.width, panel.height);
}

inline std::string panelReportText(Size panel) {
    return formatted("panel %dx%d", panel.width, panel.height);
}

}  // namespace quillon::device
