#pragma once

#include "platform/linux/shell/panel/control.hpp"
#include "platform/panel.hpp"

namespace quillon {

/// One option of a row: a label and, beneath it, a quieter detail. The chosen one is filled with the accent.
class Pill : public Control {
  public:
    explicit Pill(QWidget* parent) : Control(parent) { setCheckable(true); }

    void setContent(const PanelPill& content);
    const std::string& value() const { return content_.value; }

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    PanelPill content_;
};

}  // namespace quillon
