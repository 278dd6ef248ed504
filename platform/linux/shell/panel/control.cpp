#include "platform/linux/shell/panel/control.hpp"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QPainter>

namespace quillon {

Control::Control(QWidget* parent) : QAbstractButton(parent) {
    setAttribute(Qt::WA_Hover);  // paint again when the pointer comes or goes
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
}

void Control::describe(const QString& label, const QString& detail, const QString& toolTip) {
    setText(QString(label).replace(QLatin1Char('&'), QStringLiteral("&&")));  // no mnemonics
    setAccessibleName(label);
    setAccessibleDescription(detail);
    setToolTip(toolTip);
}

QColor Control::ground() const {
    if (isDown()) return theme().outline;
    return underMouse() ? theme().hovered : theme().raised;
}

void Control::drawFocusRing(QPainter& painter, const QRectF& box, double radius) const {
    if (!hasFocusByKeyboard()) return;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(isChecked() ? theme().text : theme().accent, 2));
    painter.drawRoundedRect(box.adjusted(-1, -1, 1, 1), radius + 1, radius + 1);
}

void Control::focusInEvent(QFocusEvent* event) {
    focusByKeyboard_ = event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
    QAbstractButton::focusInEvent(event);
}

void Control::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) return click();
    QAbstractButton::keyPressEvent(event);
}

}  // namespace quillon
