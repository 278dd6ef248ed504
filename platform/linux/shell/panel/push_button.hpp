#pragma once

#include "platform/linux/shell/panel/control.hpp"
#include "platform/panel.hpp"

namespace quillon {

/// A button with a word on it.
class PushButton : public Control {
  public:
    enum class Look {
        plain,   ///< only the word, in the accent's colour, underlined under the pointer and the focus
        filled,  ///< on a ground of its own
    };

    PushButton(QWidget* parent, Look look) : Control(parent), look_(look) {}

    void setContent(const PanelButton& content);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    int inset() const;

    const Look look_;
    QString label_;
};

}  // namespace quillon
