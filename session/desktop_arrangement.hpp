#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/displays.hpp"
#include "platform/platform.hpp"
#include "platform/run_loop.hpp"
#include "platform/task.hpp"
#include "platform/threads.hpp"

namespace quillon {

/// Applies the rules of session/desktop_rules.hpp to a display: its mode, its place beside the main display,
/// its mirroring. Every change runs on the `.displays` queue, one after the other, because a display server
/// may take its time; each call is a task that ends when its change is done. What the system refuses is left
/// as it is.
///
/// Main thread; destroyed there, after the change that runs just then.
class DesktopArrangement {
  public:
    explicit DesktopArrangement(Platform& platform);

    /// Resolutions of `display` that fit the panel, if one is known.
    std::vector<Size> availableResolutions(DisplayID display, std::optional<Size> panel) const;

    /// The first mode of exactly `size` points, whatever its density.
    std::optional<DisplayMode> modeOfSize(DisplayID display, Size size) const;

    // The tasks below answer false when `cancel` came before their change.

    /// Takes the mode for a desktop of `size`, at twice the density where it is offered, unless it is in
    /// force already. False also when no mode has that size.
    Task<bool> selectMode(DisplayID display, Size size);

    /// Sets `mode` as it is.
    Task<bool> setMode(DisplayID display, DisplayMode mode);

    /// Breaks a stale mirror and places the display, `size` large, beside the main one.
    Task<bool> place(DisplayID display, std::string position, Size size);

    /// Is a change on its way?
    bool isBusy() const { return changes_ > 0; }

    /// Calls `look` every two seconds from now on, so that what something else changed can be set right.
    void startModeEnforcement(std::function<void()> look);
    void stopModeEnforcement() { modeTimer_.reset(); }

    /// Begins a run: its first mode tells its density anew.
    void begin() { hiDPIActive_.reset(); }
    /// Ends it: no more looks, and the changes that have not begun are dropped.
    void cancel();

  private:
    template <typename Change>
    Task<std::invoke_result_t<Change>> apply(Change change);
    std::optional<DisplayMode> chooseMode(DisplayID display, Size size);
    void noteDensity(bool hiDPI);
    void unmirrorDisplay(DisplayID display);
    void positionDisplay(DisplayID display, const std::string& position, Size size);

    RunLoop& loop_;
    Threads& threads_;
    Displays& displays_;
    std::unique_ptr<Timer> modeTimer_;
    std::optional<bool> hiDPIActive_;     ///< of the mode selected last
    int changes_ = 0;                     ///< on their way
    std::atomic<int> run_ = 0;            ///< a change that belongs to an earlier one is not begun
    std::unique_ptr<SerialQueue> queue_;  ///< made for the first change; last, since its work uses the rest
};

}  // namespace quillon
