#pragma once

#include <functional>
#include <memory>

#include "app/popover.hpp"
#include "platform/application_shell.hpp"

namespace quillon {

/// What the panel shows now, and who hears of what the user does in it.
struct PopoverModel {
    PopoverSnapshot snapshot;
    std::function<void(const PopoverChange&)> onChange;
};

/// The popover front end: draws snapshots into the platform's panel, and turns what happens there into
/// changes. Owned by the application delegate, its host. Main thread.
class PopoverController {
  public:
    struct Host {
        std::function<PopoverSnapshot()> popoverSnapshot;
        std::function<void(const PopoverChange&)> applyPopoverChange;
        std::function<void()> popoverDidClose;
    };

    /// `shell`, and what `host` calls, outlive this.
    PopoverController(ApplicationShell& shell, Host host);

    /// Shows the panel, or brings it to the front, with a fresh snapshot.
    void show();
    void close();
    bool isShown() const;
    /// A shown panel gets a fresh snapshot; a hidden one will when it is shown.
    void refresh();

    const PopoverModel& model() const { return model_; }

  private:
    const Host host_;
    PopoverModel model_;
    const std::unique_ptr<Panel> panel_;
};

}  // namespace quillon
