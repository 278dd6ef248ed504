#pragma once

#include <QWidget>

#include "platform/panel.hpp"

namespace quillon {

/// The status dot. Each state has its colour and its shape: a ring when stopped, a ring that is not closed
/// while starting, a disc over USB, a disc with waves over Wi-Fi, a triangle after a failure.
class StatusBadge : public QWidget {
  public:
    explicit StatusBadge(QWidget* parent);

    void setContent(PanelContent::Dot dot, const std::string& description);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    PanelContent::Dot dot_ = PanelContent::Dot::stopped;
};

}  // namespace quillon
