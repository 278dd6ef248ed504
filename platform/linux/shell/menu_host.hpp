#pragma once

#include <QObject>
#include <QTimer>
#include <memory>

#include "platform/linux/shell/menu_view.hpp"
#include "platform/menu.hpp"

namespace quillon {

/// A menu that asks for its content each time it opens, wherever it opens: drawn by the toolkit or, over
/// D-Bus, by the panel. Actions are reported from the loop, so that they may destroy this object.
class MenuHost {
  public:
    explicit MenuHost(MenuCallbacks callbacks);

    /// For panels that draw menus themselves. Filled at once: some look into it before they say that it
    /// opens.
    QMenu& exported() { return exported_; }
    /// Drawn by the toolkit.
    QMenu& drawn() { return drawn_; }

    /// Brings the exported menu up to date, unless it is open.
    void refreshExported();

  private:
    void watch(MenuView& menu);
    void opens(MenuView& menu);
    void closed();
    void report(const MenuItem& item);

    const MenuCallbacks callbacks_;
    QObject context_;  ///< reports that are under way end with it
    MenuView exported_;
    MenuView drawn_;
    QTimer patience_;
    bool isOpen_ = false;
};

}  // namespace quillon
