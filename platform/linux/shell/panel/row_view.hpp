#pragma once

#include <QLabel>

#include "platform/linux/shell/panel/pill_flow.hpp"
#include "platform/linux/shell/panel/push_button.hpp"

namespace quillon {

/// A row of options with its title at the left. Segments take the whole width and have no title to be seen.
class RowView : public QWidget {
  public:
    using Report = std::function<void(const PanelChange& change)>;

    RowView(QWidget* parent, const PanelRow& row, int width, Report onChange);

    /// `row` has the same id, style and button as the first one.
    void setContent(const PanelRow& row);

  private:
    void arrange(const PanelRow& row);

    const bool isSegments_;
    QLabel* const title_;
    PillFlow* const pills_;
    QLabel* const note_;
    PushButton* button_ = nullptr;
    const int width_;
};

}  // namespace quillon
