#include "platform/linux/shell/panel/pill.hpp"

#include <QPainter>
#include <algorithm>

namespace quillon {

namespace {

constexpr int kPadding = 10;
constexpr int kNarrowest = 44;
constexpr double kRoundest = 13;

QString textOf(const std::string& text) {
    return QString::fromStdString(text);
}

}  // namespace

void Pill::setContent(const PanelPill& content) {
    if (content == content_ && !text().isEmpty()) return;
    content_ = content;
    describe(textOf(content.label), textOf(content.detail), textOf(content.toolTip));
    setChecked(content.selected);
    updateGeometry();
    update();
}

QSize Pill::sizeHint() const {
    const QFontMetrics label(font());
    const QFontMetrics detail(smallFont());
    int width = label.horizontalAdvance(textOf(content_.label));
    int height = label.height() + 2 * space::small;
    if (!content_.detail.empty()) {
        width = std::max(width, detail.horizontalAdvance(textOf(content_.detail)));
        height += detail.height() - space::hair;
    }
    return {std::max(width + 2 * kPadding, kNarrowest) + 2 * kRing, height + 2 * kRing};
}

void Pill::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = body();
    const double radius = std::min(box.height() / 2, kRoundest);
    painter.setPen(Qt::NoPen);
    painter.setBrush(isChecked() ? theme().accent : ground());
    painter.drawRoundedRect(box, radius, radius);
    drawFocusRing(painter, box, radius);

    const QFontMetrics label(font());
    const QFontMetrics detail(smallFont());
    const bool hasDetail = !content_.detail.empty();
    const int textHeight = label.height() + (hasDetail ? detail.height() - space::hair : 0);
    QRectF line(box.left(), box.top() + (box.height() - textHeight) / 2, box.width(), label.height());
    const auto draw = [&](const QFontMetrics& metrics, const std::string& text) {
        const int room = static_cast<int>(box.width()) - 2 * space::small;
        painter.drawText(line, Qt::AlignCenter, metrics.elidedText(textOf(text), Qt::ElideRight, room));
    };
    painter.setPen(isChecked() ? theme().onAccent : theme().text);
    draw(label, content_.label);
    if (!hasDetail) return;
    line.moveTop(line.bottom() - space::hair);
    painter.setFont(smallFont());
    painter.setPen(isChecked() ? theme().onAccent : theme().quiet);
    draw(detail, content_.detail);
}

}  // namespace quillon
