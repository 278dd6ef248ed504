#include "platform/linux/shell/panel/switch_view.hpp"

#include <QPainter>

namespace quillon {

namespace {

constexpr QSizeF kTrack(30, 17);
constexpr double kKnobMargin = 2.5;

}  // namespace

void SwitchView::setContent(const PanelSwitch& content) {
    label_ = QString::fromStdString(content.label);
    describe(label_, QString(), QString());
    setChecked(content.on);
    update();
}

QSize SwitchView::sizeHint() const {
    const QFontMetrics metrics(font());
    return {metrics.horizontalAdvance(label_) + space::medium + static_cast<int>(kTrack.width()) + kRing,
            metrics.height() + 2 * (space::small + kRing)};
}

void SwitchView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(0, 0, -kRing, 0);
    QRectF track(QPointF(), kTrack);
    track.moveCenter({box.right() - kTrack.width() / 2, box.center().y()});
    const double radius = kTrack.height() / 2;
    drawFocusRing(painter, track, radius);
    painter.setPen(isChecked() ? Qt::NoPen : QPen(theme().quiet, 1));
    painter.setBrush(isChecked() ? theme().accent : ground());
    painter.drawRoundedRect(track.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);

    const double side = kTrack.height() - 2 * kKnobMargin;
    QRectF knob(0, track.top() + kKnobMargin, side, side);
    knob.moveLeft(isChecked() ? track.right() - kKnobMargin - side : track.left() + kKnobMargin);
    painter.setPen(Qt::NoPen);
    painter.setBrush(isChecked() ? theme().onAccent : theme().quiet);
    painter.drawEllipse(knob);

    const QRectF words(box.left(), box.top(), track.left() - space::small - box.left(), box.height());
    painter.setPen(theme().text);
    painter.drawText(
        words, static_cast<int>(Qt::AlignLeft) | Qt::AlignVCenter,
        QFontMetrics(font()).elidedText(label_, Qt::ElideRight, static_cast<int>(words.width())));
}

}  // namespace quillon
