#pragma once

#include "platform/wake_lock.hpp"

namespace quillon {

/// An assertion of IOKit's power management.
class MacWakeLock : public WakeLock {
  public:
    std::unique_ptr<Assertion> preventDisplaySleep(const std::string& reason) override;
};

}  // namespace quillon
