#pragma once

#include <memory>
#include <string>

namespace quillon {

/// Keeps the displays from going to sleep. Main thread.
class WakeLock {
  public:
    /// Held as long as it lives; the end of the process releases it too.
    class Assertion {
      public:
        virtual ~Assertion() = default;
    };

    virtual ~WakeLock() = default;

    /// `reason` is shown to users by the system's own tools. Null when the system refuses or has nobody to
    /// ask. Does not wait for a service: a lock that is refused later is logged by the platform.
    virtual std::unique_ptr<Assertion> preventDisplaySleep(const std::string& reason) = 0;
};

}  // namespace quillon
