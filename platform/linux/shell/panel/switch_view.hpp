#pragma once

#include "platform/linux/shell/panel/control.hpp"
#include "platform/panel.hpp"

namespace quillon {

/// A label with a switch at its right.
class SwitchView : public Control {
  public:
    explicit SwitchView(QWidget* parent) : Control(parent) { setCheckable(true); }

    void setContent(const PanelSwitch& content);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QString label_;
};

}  // namespace quillon
