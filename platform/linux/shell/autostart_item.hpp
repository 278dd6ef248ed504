#pragma once

#include <filesystem>

#include "platform/login_item.hpp"

namespace quillon {

/// Start at login as desktops do it: an entry in the autostart folder of the user's configuration.
class AutostartItem : public LoginItem {
  public:
    /// `program` is what the entry starts, `folder` the user's autostart folder.
    explicit AutostartItem(std::filesystem::path program, std::filesystem::path folder = defaultFolder());

    Status status() override;
    void enlist() override;
    void withdraw() override;

    /// "autostart" in XDG_CONFIG_HOME, otherwise in ~/.config.
    static std::filesystem::path defaultFolder();
    /// This program by the path by which it was started, which says that it is an application.
    static std::filesystem::path invokedProgram();
    /// Was this program started by such an entry, while the desktop is perhaps still being built?
    static bool startedThisProcess();

  private:
    const std::filesystem::path program_;
    const std::filesystem::path file_;
};

}  // namespace quillon
