#include "platform/linux/shell/panel/close_button.hpp"

#include <QPainter>

namespace quillon {

namespace {

constexpr int kSide = 26;
constexpr double kArm = 3.8;

}  // namespace

CloseButton::CloseButton(QWidget* parent) : Control(parent) {
    setFixedSize(kSide, kSide);
    describe(QStringLiteral("Close"), QString(), QStringLiteral("Close (Esc)"));
}

void CloseButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = body();
    if (underMouse() || isDown()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(ground());
        painter.drawEllipse(box);
    }
    drawFocusRing(painter, box, box.height() / 2);
    painter.setPen(QPen(theme().quiet, 1.6, Qt::SolidLine, Qt::RoundCap));
    const QPointF center = box.center();
    painter.drawLine(center + QPointF(-kArm, -kArm), center + QPointF(kArm, kArm));
    painter.drawLine(center + QPointF(-kArm, kArm), center + QPointF(kArm, -kArm));
}

}  // namespace quillon
