#pragma once

#include "platform/virtual_displays.hpp"

namespace quillon {

/// Monitors of the system's own making, see pv_virtual_display.h. They go with the process that made them.
class MacVirtualDisplays : public VirtualDisplays {
  public:
    std::unique_ptr<VirtualDisplay> create(const VirtualDisplayRequest& request) override;
    /// Nothing: the system takes the monitors of a process that ends.
    void removeLeftovers() override {}
};

}  // namespace quillon
