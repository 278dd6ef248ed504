#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "platform/linux/shell/panel/pill.hpp"

namespace quillon {

/// The pills of a row, side by side in a given width; what does not fit goes to the next line. As segments
/// they share one ground and the width in equal parts.
class PillFlow : public QWidget {
  public:
    using Report = std::function<void(const std::string& value)>;

    PillFlow(QWidget* parent, PanelRow::Style style, int width, Report onClick);

    /// A pill keeps the keyboard's focus as long as its place exists.
    void setContent(const std::vector<PanelPill>& pills);

    /// The height of one line, which a title beside it is centred on.
    int lineHeight() const;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void arrange();
    void arrangeSegments();

    const PanelRow::Style style_;
    const int width_;
    const Report onClick_;
    std::vector<Pill*> pills_;  ///< owned as children
};

}  // namespace quillon
