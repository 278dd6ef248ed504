#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/geometry.hpp"
#include "platform/displays.hpp"

namespace quillon {

/// What every virtual monitor of this program says of itself, on every platform: the session and the clean-up
/// know them by vendor and model, those too that an earlier run has left behind.
struct VirtualMonitor {
    static constexpr Displays::Identity kIdentity{1452, 4096};
    static constexpr uint32_t kSerial = 1;
    static constexpr double kWidthMillimetres = 160.5;
    static constexpr double kHeightMillimetres = 120.4;
};

/// What a virtual monitor is asked to be besides.
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
