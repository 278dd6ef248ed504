#pragma once

#include "platform/opener.hpp"

namespace quillon {

/// The workspace, which finds the program for a file or for a URL.
class MacOpener : public Opener {
  public:
    bool openFile(const std::filesystem::path& file) override;
    bool openSettings(Pane pane) override;
};

}  // namespace quillon
