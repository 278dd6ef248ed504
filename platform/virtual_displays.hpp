#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/geometry.hpp"
#include "platform/displays.hpp"

namespace quillon {

/// What a virtual monitor is asked to be. Vendor, model, serial and physical size are the platform's
/// constants: they are how a leftover is recognised.
struct VirtualDisplayRequest {
    std::string name;
    std::vector<Size> modes;  ///< pixels, in order of preference
    bool hiDPI = false;
    Size maxPixels;
    double refreshRate = 60.0;
};

/// A monitor that exists as long as this object. A backend whose monitors appear only when capture
/// begins answers the identifier at once and lists the display among the active ones later.
class VirtualDisplay {
  public:
    virtual ~VirtualDisplay() = default;
    virtual DisplayID id() const = 0;  ///< 0 when the system gave it none, or took it away. Any thread
};

class VirtualDisplays {
  public:
    virtual ~VirtualDisplays() = default;

    /// Null when the system offers no virtual displays or refuses this one. Any thread; may take
    /// some hundred milliseconds.
    virtual std::unique_ptr<VirtualDisplay> create(const VirtualDisplayRequest& request) = 0;

    /// Takes away the monitors of processes that have ended without doing so, where the system itself does
    /// not. Those of living processes stay. Any thread.
    virtual void removeLeftovers() = 0;
};

/// The system's virtual displays alone, for callers who have no Platform. What it makes outlives it.
std::unique_ptr<VirtualDisplays> makeVirtualDisplays();

}  // namespace quillon
