#pragma once

#include <QLabel>
#include <functional>

#include "platform/linux/shell/panel/close_button.hpp"
#include "platform/linux/shell/panel/push_button.hpp"
#include "platform/linux/shell/panel/status_badge.hpp"

namespace quillon {

/// The head of the panel: what runs, how well, and the buttons that start, stop and close.
class HeaderView : public QWidget {
  public:
    using Report = std::function<void(const PanelChange& change)>;

    HeaderView(QWidget* parent, Report onChange, std::function<void()> onClose);

    void setContent(const PanelContent& content);
    /// A window with a frame closes by its frame.
    void setClosable(bool closable) { close_->setVisible(closable); }

  private:
    StatusBadge* const badge_;
    QLabel* const title_;
    QLabel* const status_;
    QLabel* const statistics_;
    PushButton* const stream_;
    CloseButton* const close_;
    std::string streamId_;
};

}  // namespace quillon
