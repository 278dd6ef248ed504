#pragma once

#include "platform/virtual_displays.hpp"

namespace quillon {

/// Monitors of the system's own making. The classes for them have no public header and are reached by name;
/// on a system without them there are no virtual displays.
class MacVirtualDisplays : public VirtualDisplays {
  public:
    std::unique_ptr<VirtualDisplay> create(const VirtualDisplayRequest& request) override;
    /// Nothing: the system takes the monitors of a process that ends.
    void removeLeftovers() override {}
};

}  // namespace quillon
