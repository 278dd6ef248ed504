#include "platform/linux/shell/panel/status_badge.hpp"

#include <QPainter>

#include "platform/linux/shell/theme.hpp"

namespace quillon {

namespace {

constexpr int kSide = 34;
using Dot = PanelContent::Dot;

QColor colorOf(Dot dot, const Theme& theme) {
    switch (dot) {
        case Dot::stopped:
            return theme.stopped;
        case Dot::starting:
            return theme.starting;
        case Dot::runningOverUSB:
            return theme.usb;
        case Dot::runningOverWiFi:
            return theme.wifi;
        case Dot::failed:
            return theme.failed;
    }
    return theme.stopped;
}

QRectF square(QPointF center, double radius) {
    return {center.x() - radius, center.y() - radius, 2 * radius, 2 * radius};
}

void drawWaves(QPainter& painter, QPointF center, QColor color) {
    // A dot at the foot of two arcs, as wireless links are drawn everywhere.
    const QPointF foot = center + QPointF(0, 5.5);
    painter.setPen(QPen(color, 2.6, Qt::SolidLine, Qt::RoundCap));
    painter.drawPoint(foot);
    for (const double radius : {7.0, 12.0}) painter.drawArc(square(foot, radius), 45 * 16, 90 * 16);
}

void drawTriangle(QPainter& painter, QPointF center, QColor ground) {
    const QPolygonF outline{center + QPointF(0, -8), center + QPointF(8.5, 6.5), center + QPointF(-8.5, 6.5)};
    painter.drawPolygon(outline);
    painter.setPen(QPen(ground, 2, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(center + QPointF(0, -3.5), center + QPointF(0, 1.5));
    painter.drawPoint(center + QPointF(0, 4.8));
}

}  // namespace

StatusBadge::StatusBadge(QWidget* parent) : QWidget(parent) {
    setFixedSize(kSide, kSide);
}

void StatusBadge::setContent(PanelContent::Dot dot, const std::string& description) {
    setToolTip(QString::fromStdString(description));
    setAccessibleName(toolTip());
    if (dot_ == dot) return;
    dot_ = dot;
    update();
}

void StatusBadge::paintEvent(QPaintEvent*) {
    const Theme& theme = themeOf(palette());
    const QColor color = colorOf(dot_, theme);
    const QPointF center = QRectF(rect()).center();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);

    QColor ground = color;
    ground.setAlphaF(theme.isDark ? 0.22F : 0.14F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    painter.drawEllipse(square(center, kSide / 2.0));

    const QPen stroke(color, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(stroke);
    painter.setBrush(Qt::NoBrush);
    switch (dot_) {
        case Dot::stopped:
            painter.drawEllipse(square(center, 6));
            break;
        case Dot::starting:
            painter.drawArc(square(center, 6.5), 90 * 16, -250 * 16);
            break;
        case Dot::runningOverUSB:
            painter.setBrush(color);
            painter.drawEllipse(square(center, 6));
            break;
        case Dot::runningOverWiFi:
            drawWaves(painter, center, color);
            break;
        case Dot::failed:
            painter.setBrush(color);
            drawTriangle(painter, center, theme.window);
            break;
    }
}

}  // namespace quillon
