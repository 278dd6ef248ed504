#pragma once

#include <QSystemTrayIcon>
#include <functional>
#include <memory>
#include <optional>

#include "platform/linux/shell/menu_host.hpp"
#include "platform/linux/shell/tray_places.hpp"
#include "platform/status_item.hpp"

namespace quillon {

/// The status item in whatever tray the desktop has; it waits for one if need be.
///
/// An item with a click carries a menu all the same, with the click as its one item: some panels open menus
/// and nothing else. An item with a menu opens it at the pointer where panels report clicks.
class QtStatusItem : public StatusItem {
  public:
    QtStatusItem(TrayPlaces& places, std::function<void()> onClick);
    QtStatusItem(TrayPlaces& places, MenuCallbacks menu);

    void setLook(const StatusItemLook& look) override;
    void menuChanged() override { menu_.refreshExported(); }

  private:
    QtStatusItem(TrayPlaces& places, MenuCallbacks menu, std::function<void()> onClick);
    void appear();
    void draw();
    void clicked();

    TrayPlaces& places_;
    const std::function<void()> onClick_;  ///< empty for an item with a menu
    QObject context_;                      ///< signals stop with it
    MenuHost menu_;
    StatusItemLook look_;
    std::optional<StatusItemLook> drawn_;
    std::unique_ptr<QSystemTrayIcon> icon_;  ///< once there is a tray
};

}  // namespace quillon
