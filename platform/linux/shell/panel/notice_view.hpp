#pragma once

#include <QLabel>
#include <QPainter>

#include "platform/linux/shell/theme.hpp"

namespace quillon {

/// Something to be told once, on a ground of its own.
class NoticeView : public QLabel {
  public:
    explicit NoticeView(QWidget* parent) : QLabel(parent) {
        setWordWrap(true);
        setTextFormat(Qt::PlainText);
        setContentsMargins(space::medium, space::small, space::medium, space::small);
    }

    void setContent(const std::string& text) {
        setText(QString::fromStdString(text));
        setVisible(!text.empty());
    }

  protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(themeOf(palette()).notice);
        painter.drawRoundedRect(rect(), space::small, space::small);
        painter.end();
        QLabel::paintEvent(event);
    }
};

}  // namespace quillon
