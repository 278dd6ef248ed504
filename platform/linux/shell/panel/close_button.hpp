#pragma once

#include "platform/linux/shell/panel/control.hpp"

namespace quillon {

/// A small cross.
class CloseButton : public Control {
  public:
    explicit CloseButton(QWidget* parent);

  protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace quillon
