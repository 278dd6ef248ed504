#include "platform/linux/shell/panel/header_view.hpp"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace quillon {

HeaderView::HeaderView(QWidget* parent, Report onChange, std::function<void()> onClose)
    : QWidget(parent),
      badge_(new StatusBadge(this)),
      title_(new QLabel(this)),
      status_(new QLabel(this)),
      statistics_(new QLabel(this)),
      stream_(new PushButton(this, PushButton::Look::filled)),
      close_(new CloseButton(this)) {
    title_->setFont(scaledFont(1.3, QFont::DemiBold));
    statistics_->setFont(smallFont());
    statistics_->setForegroundRole(QPalette::PlaceholderText);  // the quiet colour
    status_->setWordWrap(true);
    for (QLabel* const label : {title_, status_, statistics_}) label->setTextFormat(Qt::PlainText);
    // The statistics keep their line, so that nothing jumps when streaming starts.
    statistics_->setMinimumHeight(QFontMetrics(smallFont()).height());

    auto* const words = new QVBoxLayout;
    words->setSpacing(1);
    for (QLabel* const label : {title_, status_, statistics_}) words->addWidget(label);

    auto* const line = new QHBoxLayout(this);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(space::medium);
    line->addWidget(badge_);
    line->addLayout(words, 1);
    line->addWidget(stream_);
    line->addWidget(close_);

    connect(stream_, &PushButton::clicked, this, [this, onChange] { onChange(PanelChange{streamId_, ""}); });
    connect(close_, &CloseButton::clicked, this, std::move(onClose));
}

void HeaderView::setContent(const PanelContent& content) {
    badge_->setContent(content.dot, content.dotDescription);
    title_->setText(QString::fromStdString(content.title));
    status_->setText(QString::fromStdString(content.status));
    statistics_->setText(QString::fromStdString(content.statistics));
    streamId_ = content.streamButton.id;
    stream_->setContent(content.streamButton);
    stream_->setVisible(!content.streamButton.id.empty());
}

}  // namespace quillon
