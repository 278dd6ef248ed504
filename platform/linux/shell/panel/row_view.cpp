#include "platform/linux/shell/panel/row_view.hpp"

#include <algorithm>

namespace quillon {

namespace {

constexpr int kTitleWidth = 84;

int pillsWidth(const PanelRow& row, int width) {
    return row.style == PanelRow::Style::segments ? width : width - kTitleWidth;
}

}  // namespace

RowView::RowView(QWidget* parent, const PanelRow& row, int width, Report onChange)
    : QWidget(parent),
      isSegments_(row.style == PanelRow::Style::segments),
      title_(new QLabel(this)),
      pills_(new PillFlow(this, row.style, pillsWidth(row, width),
                          [onChange, id = row.id](const std::string& value) {
                              onChange(PanelChange{id, value});
                          })),
      note_(new QLabel(this)),
      width_(width) {
    title_->setVisible(!isSegments_);
    for (QLabel* const label : {title_, note_}) {
        label->setForegroundRole(QPalette::PlaceholderText);  // the quiet colour
        label->setTextFormat(Qt::PlainText);
    }
    note_->setWordWrap(true);
    if (row.button) {
        button_ = new PushButton(this, PushButton::Look::plain);
        connect(button_, &PushButton::clicked, this, [onChange, id = row.button->id] {
            onChange(PanelChange{id, ""});
        });
    }
    setContent(row);
}

void RowView::setContent(const PanelRow& row) {
    const QString title = QString::fromStdString(row.title);
    title_->setText(title);
    setAccessibleName(title);
    pills_->setAccessibleName(title);
    pills_->setContent(row.pills);
    pills_->setVisible(!row.pills.empty());
    note_->setText(QString::fromStdString(row.note));
    note_->setVisible(row.pills.empty() && !row.note.empty());

    arrange(row);
}

void RowView::arrange(const PanelRow& row) {
    const int left = isSegments_ ? 0 : kTitleWidth;
    const int line =
        std::max(pills_->lineHeight(), fontMetrics().height() + 2 * (space::small + space::hair));
    int bottom = std::max(line, row.pills.empty() ? 0 : pills_->height());
    title_->setGeometry(0, 0, kTitleWidth - space::small, line);
    pills_->move(left, 0);
    if (!note_->isHidden()) {
        // Its words begin where those of the pills of other rows do.
        const int width = width_ - left - space::medium;
        note_->setGeometry(left + space::medium, 0, width, std::max(line, note_->heightForWidth(width)));
        bottom = std::max(bottom, note_->height());
    }
    if (button_ != nullptr && row.button) {
        // Beneath the title.
        button_->setContent(*row.button);
        button_->resize(button_->sizeHint());
        title_->resize(title_->width(), fontMetrics().height() + space::small);
        button_->move(0, title_->height() - space::hair);
        bottom = std::max(bottom, button_->geometry().bottom() + 1);
    }
    setFixedSize(width_, bottom);
}

}  // namespace quillon
