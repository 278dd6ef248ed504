#include "platform/linux/shell/panel/pill_flow.hpp"

#include <QPainter>
#include <algorithm>
#include <utility>

namespace quillon {

namespace {

constexpr int kGap = 2;  // besides the room that each pill keeps around itself
constexpr double kTrackRadius = 15;

}  // namespace

PillFlow::PillFlow(QWidget* parent, PanelRow::Style style, int width, Report onClick)
    : QWidget(parent), style_(style), width_(width), onClick_(std::move(onClick)) {}

void PillFlow::setContent(const std::vector<PanelPill>& pills) {
    while (pills_.size() > pills.size()) {
        pills_.back()->hide();
        pills_.back()->deleteLater();
        pills_.pop_back();
    }
    while (pills_.size() < pills.size()) {
        auto* const pill = new Pill(this);
        connect(pill, &Pill::clicked, this, [this, pill] { onClick_(pill->value()); });
        pill->show();
        pills_.push_back(pill);
    }
    for (size_t i = 0; i < pills.size(); ++i) pills_[i]->setContent(pills[i]);
    if (style_ == PanelRow::Style::segments) {
        arrangeSegments();
    } else {
        arrange();
    }
}

int PillFlow::lineHeight() const {
    return pills_.empty() ? 0 : pills_.front()->height();
}

void PillFlow::arrange() {
    int height = 0;
    for (const Pill* pill : pills_) height = std::max(height, pill->sizeHint().height());
    QPoint place(0, 0);
    for (Pill* const pill : pills_) {
        const int width = std::min(pill->sizeHint().width(), width_);
        if (place.x() > 0 && place.x() + width > width_) place = {0, place.y() + height + kGap};
        pill->setGeometry(place.x(), place.y(), width, height);
        place.rx() += width + kGap;
    }
    setFixedSize(width_, pills_.empty() ? 0 : place.y() + height);
}

void PillFlow::arrangeSegments() {
    int height = 0;
    for (const Pill* pill : pills_) height = std::max(height, pill->sizeHint().height());
    const int count = static_cast<int>(pills_.size());
    for (int i = 0; i < count; ++i) {
        const int left = width_ * i / count;
        pills_[static_cast<size_t>(i)]->setGeometry(left, 0, width_ * (i + 1) / count - left, height);
    }
    setFixedSize(width_, height);
}

void PillFlow::paintEvent(QPaintEvent*) {
    if (style_ != PanelRow::Style::segments) return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(themeOf(palette()).raised);
    painter.drawRoundedRect(rect(), kTrackRadius, kTrackRadius);
}

}  // namespace quillon
