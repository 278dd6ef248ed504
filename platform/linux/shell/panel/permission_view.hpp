#pragma once

#include <QLabel>
#include <functional>

#include "platform/linux/shell/panel/push_button.hpp"

namespace quillon {

/// A permission with a check mark when it is granted, otherwise with the button that leads to it.
class PermissionView : public QWidget {
  public:
    PermissionView(QWidget* parent, const PanelPermission& content,
                   std::function<void(const PanelChange& change)> onChange);

    void setContent(const PanelPermission& content);

  private:
    QLabel* const label_;
    QLabel* const granted_;
    PushButton* const button_;
};

}  // namespace quillon
