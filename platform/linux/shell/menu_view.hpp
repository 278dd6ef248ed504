#pragma once

#include <QMenu>
#include <functional>
#include <utility>

#include "platform/menu.hpp"

namespace quillon {

/// Draws a menu value with the toolkit's menu, which also travels to panels over D-Bus. A menu of the same
/// shape as the one before is changed in place: a panel that shows it already keeps its items.
class MenuView : public QMenu {
  public:
    using Action = std::function<void(const MenuItem& item)>;

    /// For `Label::exported` the texts are written as the D-Bus menu protocol wants them.
    enum class Label { drawn, exported };

    /// `onAction` comes from inside the toolkit's own handling of the click and leaves the menu alone.
    MenuView(Label label, Action onAction) : label_(label), onAction_(std::move(onAction)) {}

    void setContent(const Menu& content);

  protected:
    /// Items answer to their keys while the menu is open.
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void rebuild();
    void refresh();
    void apply(QAction& action, const MenuItem& item);
    QString labelOf(const MenuItem& item) const;

    const Label label_;
    const Action onAction_;
    Menu content_;
};

}  // namespace quillon
