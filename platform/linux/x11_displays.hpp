#pragma once

#include "base/thread_annotations.hpp"
#include "platform/displays.hpp"
#include "platform/linux/x11_outputs.hpp"

namespace quillon {

/// The outputs of an X screen. Points are pixels here. Connects when first asked and again after the
/// server went away.
///
/// Modes, mirroring and places are read only: changes of the configuration are refused.
class X11Displays : public Displays {
  public:
    std::vector<DisplayID> active() override EXCLUDES(lock_);
    DisplayID main() override EXCLUDES(lock_);
    Rect bounds(DisplayID display) override EXCLUDES(lock_);
    Identity identity(DisplayID display) override EXCLUDES(lock_);
    std::vector<DisplayMode> modes(DisplayID display) override EXCLUDES(lock_);
    std::optional<DisplayMode> currentMode(DisplayID display) override EXCLUDES(lock_);
    bool setMode(DisplayID display, const DisplayMode& mode) override;
    Mirroring mirroring(DisplayID display) override EXCLUDES(lock_);
    bool stopMirroring(DisplayID display) override;
    bool setOrigin(DisplayID display, int x, int y) override;

  private:
    Mutex lock_;
    X11DesktopView view_ GUARDED_BY(lock_);
};

}  // namespace quillon
