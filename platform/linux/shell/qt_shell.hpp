#pragma once

#include <QApplication>
#include <QTimer>
#include <memory>

#include "platform/application_shell.hpp"
#include "platform/linux/shell/appearance.hpp"
#include "platform/linux/shell/autostart_item.hpp"
#include "platform/linux/shell/desktop_opener.hpp"
#include "platform/linux/shell/desktop_wake_lock.hpp"
#include "platform/linux/shell/end_signals.hpp"
#include "platform/linux/shell/loop_bridge.hpp"
#include "platform/linux/shell/module.hpp"
#include "platform/linux/shell/qt_dialogs.hpp"
#include "platform/linux/shell/qt_panel.hpp"
#include "platform/linux/shell/tray_places.hpp"

namespace quillon {

/// The tray application's half of a Linux desktop, in Qt.
class QtShell : public ApplicationShell {
  public:
    explicit QtShell(ShellHost host);
    ~QtShell() override;

    void run(ApplicationCallbacks callbacks) override;
    void terminate() override;
    std::unique_ptr<StatusItem> makeStatusItem(std::function<void()> onClick) override;
    std::unique_ptr<StatusItem> makeStatusItem(MenuCallbacks menu) override;
    std::unique_ptr<Panel> makePanel(PanelCallbacks callbacks) override;
    Dialogs& dialogs() override { return dialogs_; }
    Opener& opener() override { return opener_; }
    WakeLock& wakeLock() override { return wakeLock_; }
    LoginItem& loginItem() override { return loginItem_; }

  private:
    const ShellHost host_;
    std::unique_ptr<QApplication> application_;  ///< before everything else of the toolkit
    Appearance appearance_;
    LoopBridge bridge_;
    TrayPlaces places_;
    QtDialogs dialogs_;
    DesktopOpener opener_{dialogs_};
    DesktopWakeLock wakeLock_;
    AutostartItem loginItem_;
    const std::shared_ptr<LastDismissal> dismissal_ = std::make_shared<LastDismissal>();
};

}  // namespace quillon
