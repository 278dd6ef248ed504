#pragma once

#include <ApplicationServices/ApplicationServices.h>

#include "platform/macos/owned.hpp"
#include "platform/windows.hpp"

namespace quillon {

/// Windows through Accessibility. A program that does not answer is passed over after a second.
class MacWindows : public Windows {
  public:
    std::vector<Window> all() override;
    bool move(uint64_t id, Point origin) override;

  private:
    /// Those of the last `all`; a window's identifier is its place here.
    std::vector<Owned<AXUIElementRef>> windows_;
};

}  // namespace quillon
