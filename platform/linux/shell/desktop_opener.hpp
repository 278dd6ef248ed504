#pragma once

#include <chrono>

#include "platform/dialogs.hpp"
#include "platform/opener.hpp"

namespace quillon {

/// Opens files by xdg-open. What it cannot do shows later, in a message with the path in it.
class DesktopOpener : public Opener {
  public:
    /// An opener that fails later than `longestFailing` has opened the file: some stay until the program they
    /// started ends, and end with its status.
    explicit DesktopOpener(Dialogs& dialogs,
                           std::chrono::milliseconds longestFailing = std::chrono::seconds(10))
        : dialogs_(dialogs), longestFailing_(longestFailing) {}

    bool openFile(const std::filesystem::path& file) override;
    /// X11 grants everything to everybody; there are no such settings.
    bool openSettings(Pane) override { return false; }

  private:
    Dialogs& dialogs_;
    const std::chrono::milliseconds longestFailing_;
};

}  // namespace quillon
