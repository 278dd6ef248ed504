#pragma once

#include <QAbstractButton>

#include "platform/linux/shell/theme.hpp"

namespace quillon {

/// What all controls of the panel have in common: they are clicked by pointer, Space or Return, show where
/// the keyboard is, and never change by themselves.
class Control : public QAbstractButton {
  public:
    explicit Control(QWidget* parent);

    /// What accessibility tools read; `toolTip` may be empty.
    void describe(const QString& label, const QString& detail, const QString& toolTip);

  protected:
    /// Room around every control for the ring that shows the keyboard's focus.
    static constexpr int kRing = 2;

    const Theme& theme() const { return themeOf(palette()); }
    /// The ground of a control that is not chosen.
    QColor ground() const;
    QRectF body() const { return QRectF(rect()).adjusted(kRing, kRing, -kRing, -kRing); }
    bool hasFocusByKeyboard() const { return hasFocus() && focusByKeyboard_; }
    /// Around a box with corners of this radius; draws nothing unless the keyboard brought the focus.
    void drawFocusRing(QPainter& painter, const QRectF& box, double radius) const;

    void focusInEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void nextCheckState() override {}

  private:
    bool focusByKeyboard_ = false;
};

}  // namespace quillon
