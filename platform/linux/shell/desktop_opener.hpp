#pragma once

#include "platform/dialogs.hpp"
#include "platform/opener.hpp"

namespace quillon {

/// Opens files by xdg-open. What it cannot do shows later, in a message with the path in it.
class DesktopOpener : public Opener {
  public:
    explicit DesktopOpener(Dialogs& dialogs) : dialogs_(dialogs) {}

    bool openFile(const std::filesystem::path& file) override;
    /// X11 grants everything to everybody; there are no such settings.
    bool openSettings(Pane) override { return false; }

  private:
    Dialogs& dialogs_;
};

}  // namespace quillon
