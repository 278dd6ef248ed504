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

    // The tasks below answer whether the change was tried; false when `cancel` came first.

    /// Sets `mode` as it is.
    Task<bool> setMode(DisplayID display, DisplayMode mode);

    /// Breaks a stale mirror and places the display, `size` large, beside the main one.
    Task<bool> place(DisplayID display, std::string position, Size size);

    /// Drops the changes that have not begun.
    void cancel() { ++run_; }

  private:
    Task<bool> apply(std::function<void()> change);
    void unmirrorDisplay(DisplayID display);
    void positionDisplay(DisplayID display, const std::string& position, Size size);

    RunLoop& loop_;
    Threads& threads_;
    Displays& displays_;
    std::atomic<int> run_ = 0;            ///< a change that belongs to an earlier one is not begun
    std::unique_ptr<SerialQueue> queue_;  ///< made for the first change; last, since its work uses the rest
};

}  // namespace quillon
