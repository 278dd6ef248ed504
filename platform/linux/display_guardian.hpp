#pragma once

#include <sys/types.h>
#include <xcb/xcb.h>

namespace quillon {

/// Starts the guardian of the virtual display that belongs to a window: a small process of its own that
/// sleeps until the window is gone, and then takes back what its owner has left. It is nobody's child and in
/// nobody's group, so that neither Ctrl-C nor the death of this process takes it along, and it ends with the
/// window or the server. When it cannot be started the next virtual display or clean-up removes what is left.
///
/// The start takes some milliseconds in which the caller can do something else: the destructor waits for its
/// end. The guardian itself lives on.
class GuardianStart {
  public:
    explicit GuardianStart(xcb_window_t window);
    ~GuardianStart();
    GuardianStart(const GuardianStart&) = delete;
    GuardianStart& operator=(const GuardianStart&) = delete;

  private:
    const pid_t launcher_;  ///< negative when there is none
};

}  // namespace quillon
