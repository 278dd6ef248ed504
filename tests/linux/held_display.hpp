#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/virtual_displays.hpp"
#include "tests/support/xorg_server.hpp"

namespace quillon {
class X11Connection;
}

namespace quillon::testing {

/// A virtual display that another process holds until it is told to release it, or killed.
class HeldDisplay {
  public:
    explicit HeldDisplay(const VirtualDisplayRequest& request);
    ~HeldDisplay();
    HeldDisplay(const HeldDisplay&) = delete;
    HeldDisplay& operator=(const HeldDisplay&) = delete;

    /// Did the process get the display?
    bool isHeld() const { return held_; }
    pid_t pid() const { return process_; }
    pid_t session() const;

    /// Ends the process without a farewell.
    void kill();
    /// Lets it destroy its handle and end.
    void release();

    /// What is known of the guardian process, once it watches.
    struct Guardian {
        pid_t parent = 0;
        pid_t session = 0;
        std::vector<std::string> descriptors;  ///< what they lead to
        long privateKiB = 0;

        bool watches() const;
    };
    std::optional<Guardian> guardian() const;
    void killGuardian();
    /// Waits for its end; false when it does not come.
    bool guardianEnds() const;
    /// Has the process no child that waits to be asked how it ended?
    bool hasNoEndedChildren() const;

  private:
    std::optional<Guardian> look() const;
    void run(const VirtualDisplayRequest& request, int order, int answer);

    pid_t process_ = -1;
    pid_t guardian_ = -1;
    int order_ = -1;  ///< closing it tells the process to release the display
    bool held_ = false;
};

/// Everything that `xrandr` tells of a server but its clock.
std::string serverState(const XorgServer& server);

/// The property in which an output tells of its monitor; empty when it has none.
std::vector<uint8_t> edidOf(const X11Connection& connection, DisplayID output);

std::string outputName(const X11Connection& connection, DisplayID output);

}  // namespace quillon::testing
