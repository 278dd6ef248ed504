#pragma once

#include <functional>
#include <memory>
#include <stdexcept>

#include "platform/dialogs.hpp"
#include "platform/login_item.hpp"
#include "platform/menu.hpp"
#include "platform/opener.hpp"
#include "platform/panel.hpp"
#include "platform/status_item.hpp"
#include "platform/wake_lock.hpp"

namespace quillon {

/// Why there can be no tray application here, in words for the user: the toolkit is not installed, or there
/// is no display to draw on.
class ShellFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What happens to the application as a whole. All on the main thread, from the loop.
struct ApplicationCallbacks {
    /// First of all, once, when the loop runs.
    std::function<void()> didFinishLaunching;
    /// One of the application's windows has become the user's, or the application was brought to the front.
    std::function<void()> didBecomeActive;
    /// The application was started once more, or its icon was opened: the user wants to see it.
    std::function<void()> wasReopened;
    /// The desktop has no place for status items, and a few seconds of waiting did not change that. At most
    /// once; the item appears by itself when a place comes later.
    std::function<void()> hasNoStatusArea;
    /// A place came after all; only after the one above.
    std::function<void()> gotStatusArea;
    /// Last of all, once, whatever ends the application: `terminate`, the end of the login session, SIGINT,
    /// SIGTERM. `run` returns afterwards, unless the system ends the process itself, as macOS does at the end
    /// of the login session. So whatever must not stay behind goes in here.
    std::function<void()> willTerminate;
};

/// The toolkit and the services that only the tray application needs. Made by
/// `Platform::makeApplicationShell` when the tray application starts and never otherwise, so that the
/// command-line modes load no toolkit. One in a process, destroyed before its platform and after everything
/// it made.
///
/// The platform's run loop lives inside the toolkit's: everything the program does by `RunLoop` (posted work,
/// timers) runs on the main thread while `run` does, also while a menu, the panel or a dialog is open.
/// Main thread only.
class ApplicationShell {
  public:
    virtual ~ApplicationShell() = default;

    /// Runs the application until `terminate` or the system ends it. Without a Dock icon or main menu.
    virtual void run(ApplicationCallbacks callbacks) = 0;

    /// Makes `run` call `willTerminate` and return, after the current turn of the loop.
    virtual void terminate() = 0;

    /// A status item that a click tells about. A tray that can only open menus shows one whose one item is
    /// the click.
    virtual std::unique_ptr<StatusItem> makeStatusItem(std::function<void()> onClick) = 0;
    /// A status item that opens a menu.
    virtual std::unique_ptr<StatusItem> makeStatusItem(MenuCallbacks menu) = 0;

    virtual std::unique_ptr<Panel> makePanel(PanelCallbacks callbacks) = 0;

    virtual Dialogs& dialogs() = 0;
    virtual Opener& opener() = 0;
    virtual WakeLock& wakeLock() = 0;
    virtual LoginItem& loginItem() = 0;
};

}  // namespace quillon
