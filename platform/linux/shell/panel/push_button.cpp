#include "platform/linux/shell/panel/push_button.hpp"

#include <QPainter>

namespace quillon {

void PushButton::setContent(const PanelButton& content) {
    label_ = QString::fromStdString(content.label);
    describe(label_, QString(), QString::fromStdString(content.toolTip));
    updateGeometry();
    update();
}

QSize PushButton::sizeHint() const {
    const QFontMetrics metrics(font());
    return {metrics.horizontalAdvance(label_) + 2 * inset(), metrics.height() + 2 * (space::small + kRing)};
}

/// From the edge to the word. A plain word stands flush with what is above and below it.
int PushButton::inset() const {
    return look_ == Look::filled ? kRing + 14 : 0;
}

void PushButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (look_ == Look::filled) {
        const QRectF box = body();
        const double radius = box.height() / 2;
        painter.setPen(Qt::NoPen);
        painter.setBrush(ground());
        painter.drawRoundedRect(box, radius, radius);
        drawFocusRing(painter, box, radius);
        painter.setPen(theme().text);
    } else {
        QFont words = font();
        words.setUnderline(underMouse() || hasFocusByKeyboard());
        painter.setFont(words);
        painter.setPen(theme().isDark ? theme().accent.lighter(145) : theme().accent);
    }
    painter.drawText(rect(), Qt::AlignCenter, label_);
}

}  // namespace quillon
