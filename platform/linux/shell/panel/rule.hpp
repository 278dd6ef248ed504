#pragma once

#include <QPainter>
#include <QWidget>

#include "platform/linux/shell/theme.hpp"

namespace quillon {

/// A thin line between two sections.
class Rule : public QWidget {
  public:
    explicit Rule(QWidget* parent) : QWidget(parent) { setFixedHeight(1); }

  protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), themeOf(palette()).outline); }
};

}  // namespace quillon
