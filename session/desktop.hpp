#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/platform.hpp"
#include "platform/task.hpp"

namespace quillon {

/// The active displays that are virtual displays of this program, in the system's order.
std::vector<DisplayID> ourDisplays(Displays& displays);

/// The virtual display of a session. It outlives stop and restart and is destroyed with this object.
/// Main thread.
class VirtualDesktop {
  public:
    explicit VirtualDesktop(Platform& platform) : platform_(platform) {}

    /// The identifier of the virtual display: the one known, a new one, or a leftover of an earlier run;
    /// 0 when none is to be had. Takes several seconds to give up; `wanted` is asked before each attempt. A
    /// display that was seen on the desktop and is there no longer is forgotten first.
    Task<DisplayID> obtain(std::function<bool()> wanted);

    /// The display could not be captured: unless the system lists it now, the next `obtain` forgets it.
    void doubt() { seen_ = id_ != 0; }

    /// 0 when there is none.
    DisplayID virtualDisplayID() const { return id_; }
    /// Is it ours to take away, not just adopted?
    bool isOwned() const { return virtualDisplay_ != nullptr; }
    void destroy();

  private:
    Task<> create(std::function<bool()> wanted);
    DisplayID adoptExistingDisplay();
    bool isActive() const;

    Platform& platform_;
    std::shared_ptr<VirtualDisplay> virtualDisplay_;
    DisplayID id_ = 0;
    bool seen_ = false;  ///< among the active displays: some systems list a display only once it is captured
};

}  // namespace quillon
