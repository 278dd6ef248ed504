#pragma once

#include "platform/wake_lock.hpp"

namespace quillon {

/// Asks everybody who could darken the displays: the desktop's screen saver by D-Bus, and the X server, whose
/// own saver and power management rule on bare X11. Both forget the request when the process ends.
class DesktopWakeLock : public WakeLock {
  public:
    std::unique_ptr<Assertion> preventDisplaySleep(const std::string& reason) override;
};

}  // namespace quillon
