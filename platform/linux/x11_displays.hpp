#pragma once

#include <functional>

#include "base/thread_annotations.hpp"
#include "platform/displays.hpp"
#include "platform/linux/x11_outputs.hpp"

namespace quillon {

/// The outputs of an X screen. Points are pixels here. Connects when first asked and again after the
/// server went away.
///
/// A change is made in one step while the server is grabbed, or not at all. Mirroring is to show the same
/// part of the root window. Displays never come to overlap: one that is told to lie on others is pushed on,
/// away from the main display, until it is clear of them. When its size changes the edges that face the main
/// display stay.
class X11Displays : public Displays {
  public:
    std::vector<DisplayID> active() override EXCLUDES(lock_);
    DisplayID main() override EXCLUDES(lock_);
    Rect bounds(DisplayID display) override EXCLUDES(lock_);
    Identity identity(DisplayID display) override EXCLUDES(lock_);
    std::vector<DisplayMode> modes(DisplayID display) override EXCLUDES(lock_);
    std::optional<DisplayMode> currentMode(DisplayID display) override EXCLUDES(lock_);
    bool setMode(DisplayID display, const DisplayMode& mode) override EXCLUDES(lock_);
    Mirroring mirroring(DisplayID display) override EXCLUDES(lock_);
    bool stopMirroring(DisplayID display) override EXCLUDES(lock_);
    bool setOrigin(DisplayID display, int x, int y) override EXCLUDES(lock_);

  private:
    /// Edits the layout; false when that is not possible.
    using Change = std::function<bool(const X11Screen&, const X11Desktop&, X11Layout&)>;
    /// Makes the edited layout the server's. False when there is no such display, or nothing was changed.
    bool change(DisplayID display, const Change& edit) EXCLUDES(lock_);

    Mutex lock_;
    X11DesktopView view_ GUARDED_BY(lock_);
};

}  // namespace quillon
