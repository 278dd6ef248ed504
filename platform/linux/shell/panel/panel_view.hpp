#pragma once

#include <QScrollArea>
#include <QVBoxLayout>
#include <QWidget>
#include <functional>
#include <vector>

#include "platform/linux/shell/panel/header_view.hpp"
#include "platform/linux/shell/panel/notice_view.hpp"
#include "platform/linux/shell/panel/permission_view.hpp"
#include "platform/linux/shell/panel/row_view.hpp"
#include "platform/linux/shell/panel/switch_view.hpp"

namespace quillon {

/// Everything inside the panel, from top to bottom. Where the screen is too small for it the middle scrolls,
/// and header and footer stay.
class PanelView : public QWidget {
  public:
    using Report = std::function<void(const PanelChange& change)>;

    PanelView(QWidget* parent, Report onChange, std::function<void()> onClose);

    /// Changes what is there in place; builds anew only when controls came or went.
    void setContent(const PanelContent& content);

    /// The height that shows everything, but not more than this.
    int fittingHeight(int most);

    HeaderView& header() { return *header_; }

    static constexpr int kWidth = 536;

  private:
    void rebuild(const PanelContent& content);
    QWidget* makeRows(const PanelContent& content);
    QWidget* makeSwitches(const PanelContent& content);
    QWidget* makePermissions(const PanelContent& content);
    PushButton* makeButton(QWidget* parent, const PanelButton& button);
    void refresh(const PanelContent& content);

    const Report onChange_;
    PanelContent shape_;  ///< whose controls are there
    QVBoxLayout* const outer_;
    HeaderView* const header_;
    QScrollArea* const scroll_;
    // Made anew with each shape; owned as children.
    QWidget* middle_ = nullptr;
    QWidget* footer_ = nullptr;
    NoticeView* notice_ = nullptr;
    std::vector<RowView*> rows_;
    std::vector<SwitchView*> switches_;
    std::vector<PermissionView*> permissions_;
};

}  // namespace quillon
