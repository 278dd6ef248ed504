#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "session/session.hpp"

namespace quillon {

/// Stops, starts and switches a session by a fixed plan of fifty seconds, and watches whether the main
/// thread ever stalls meanwhile. Prints what it does. Main thread; the plan is given up when it is destroyed.
class SwitchTest {
  public:
    /// Begins now. `config` is what the session is started with; `onDone` comes after the last step. Loop and
    /// session outlive the test.
    SwitchTest(RunLoop& loop, Session& session, const Session::Config& config, std::function<void()> onDone);
    SwitchTest(const SwitchTest&) = delete;
    SwitchTest& operator=(const SwitchTest&) = delete;

  private:
    void step(Duration at, const char* label, std::function<void()> action);
    void look();

    RunLoop& loop_;
    Instant lastLook_;
    std::unique_ptr<Timer> watchdog_;
    std::vector<std::unique_ptr<Timer>> steps_;
};

}  // namespace quillon
