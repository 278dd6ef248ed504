#pragma once

#include <cstdint>
#include <vector>

#include "base/geometry.hpp"

namespace quillon {

/// The windows of ordinary applications, frames included. Needs the permission of
/// `Permissions::isTrustedForControl`. Main thread.
class Windows {
  public:
    struct Window {
        uint64_t id = 0;
        Rect frame;  ///< points on the desktop
    };

    virtual ~Windows() = default;

    /// Those whose place and size can be read.
    virtual std::vector<Window> all() = 0;
    /// False when the window could not be moved.
    virtual bool move(uint64_t id, Point origin) = 0;
};

}  // namespace quillon
