#include "platform/linux/shell/panel/panel_view.hpp"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QScrollBar>
#include <algorithm>
#include <utility>

#include "platform/linux/shell/panel/rule.hpp"

namespace quillon {

namespace {

constexpr int kInnerWidth = PanelView::kWidth - 2 * space::large;

bool haveSameRows(const std::vector<PanelRow>& one, const std::vector<PanelRow>& other) {
    return std::ranges::equal(one, other, [](const PanelRow& a, const PanelRow& b) {
        return a.id == b.id && a.style == b.style && a.button.has_value() == b.button.has_value() &&
               (!a.button || a.button->id == b.button->id);
    });
}

/// Have both the same controls, whatever these say?
bool haveSameControls(const PanelContent& one, const PanelContent& other) {
    return haveSameRows(one.rows, other.rows) &&
           std::ranges::equal(one.switches, other.switches, {}, &PanelSwitch::id, &PanelSwitch::id) &&
           std::ranges::equal(one.permissions, other.permissions,
                              [](const auto& a, const auto& b) { return a.button.id == b.button.id; }) &&
           one.buttons == other.buttons && one.footer == other.footer;
}

QVBoxLayout* columnIn(QWidget* widget, int spacing) {
    auto* const column = new QVBoxLayout(widget);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(spacing);
    return column;
}

QGridLayout* twoEqualColumnsIn(QWidget* widget) {
    auto* const grid = new QGridLayout(widget);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(2 * space::large);
    grid->setVerticalSpacing(0);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 1);
    return grid;
}

/// What a widget's layout needs at this width.
int neededHeight(const QWidget& widget, int width) {
    QLayout& layout = *widget.layout();
    layout.activate();
    return layout.hasHeightForWidth() ? layout.totalHeightForWidth(width) : layout.totalSizeHint().height();
}

}  // namespace

PanelView::PanelView(QWidget* parent, Report onChange, std::function<void()> onClose)
    : QWidget(parent),
      onChange_(std::move(onChange)),
      outer_(new QVBoxLayout(this)),
      header_(new HeaderView(this, onChange_, std::move(onClose))),
      scroll_(new QScrollArea(this)) {
    outer_->setContentsMargins(space::large, space::large, space::large, space::small);
    outer_->setSpacing(space::medium);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->setFocusPolicy(Qt::NoFocus);
    scroll_->viewport()->setAutoFillBackground(false);
    outer_->addWidget(header_);
    outer_->addWidget(scroll_, 1);
    setFixedWidth(kWidth);
}

void PanelView::setContent(const PanelContent& content) {
    if (middle_ == nullptr || !haveSameControls(content, shape_)) rebuild(content);
    refresh(content);
}

void PanelView::rebuild(const PanelContent& content) {
    shape_ = content;
    rows_.clear();
    switches_.clear();
    permissions_.clear();
    delete footer_;

    // The scroll area deletes the one before.
    middle_ = new QWidget;
    middle_->setAutoFillBackground(false);
    QVBoxLayout* const column = columnIn(middle_, space::medium);
    notice_ = new NoticeView(middle_);
    column->addWidget(notice_);
    column->addWidget(makeRows(content));
    column->addWidget(new Rule(middle_));
    column->addWidget(makeSwitches(content));
    if (!content.permissions.empty()) {
        column->addWidget(new Rule(middle_));
        column->addWidget(makePermissions(content));
    }
    middle_->setFixedWidth(kInnerWidth);
    scroll_->setWidget(middle_);

    footer_ = new QWidget(this);
    QVBoxLayout* const lower = columnIn(footer_, space::hair);
    lower->addWidget(new Rule(footer_));
    auto* const line = new QHBoxLayout;
    line->setSpacing(space::large);
    for (const PanelButton& button : content.footer) {
        // The last one, which ends the program, stands apart.
        if (&button == &content.footer.back()) line->addStretch(1);
        line->addWidget(makeButton(footer_, button));
    }
    lower->addLayout(line);
    outer_->addWidget(footer_);
}

QWidget* PanelView::makeRows(const PanelContent& content) {
    auto* const group = new QWidget(middle_);
    QVBoxLayout* const column = columnIn(group, space::small);
    for (const PanelRow& row : content.rows) {
        rows_.push_back(new RowView(group, row, kInnerWidth, onChange_));
        column->addWidget(rows_.back());
    }
    return group;
}

QWidget* PanelView::makeSwitches(const PanelContent& content) {
    auto* const group = new QWidget(middle_);
    QGridLayout* const grid = twoEqualColumnsIn(group);
    int place = 0;
    for (const PanelSwitch& item : content.switches) {
        auto* const view = new SwitchView(group);
        connect(view, &SwitchView::clicked, this, [this, id = item.id] { onChange_(PanelChange{id, ""}); });
        switches_.push_back(view);
        grid->addWidget(view, place / 2, place % 2);
        ++place;
    }
    for (const PanelButton& button : content.buttons) {
        grid->addWidget(makeButton(group, button), place / 2, place % 2, Qt::AlignLeft | Qt::AlignVCenter);
        ++place;
    }
    return group;
}

QWidget* PanelView::makePermissions(const PanelContent& content) {
    auto* const group = new QWidget(middle_);
    QGridLayout* const grid = twoEqualColumnsIn(group);
    int place = 0;
    for (const PanelPermission& permission : content.permissions) {
        permissions_.push_back(new PermissionView(group, permission, onChange_));
        grid->addWidget(permissions_.back(), place / 2, place % 2);
        ++place;
    }
    return group;
}

PushButton* PanelView::makeButton(QWidget* parent, const PanelButton& button) {
    auto* const view = new PushButton(parent, PushButton::Look::plain);
    view->setContent(button);
    connect(view, &PushButton::clicked, this, [this, id = button.id] { onChange_(PanelChange{id, ""}); });
    return view;
}

void PanelView::refresh(const PanelContent& content) {
    header_->setContent(content);
    notice_->setContent(content.notice);
    for (size_t i = 0; i < rows_.size(); ++i) rows_[i]->setContent(content.rows[i]);
    for (size_t i = 0; i < switches_.size(); ++i) switches_[i]->setContent(content.switches[i]);
    for (size_t i = 0; i < permissions_.size(); ++i) permissions_[i]->setContent(content.permissions[i]);
    middle_->resize(kInnerWidth, neededHeight(*middle_, kInnerWidth));
}

int PanelView::fittingHeight(int most) {
    const QMargins margins = outer_->contentsMargins();
    const int whole = margins.top() + neededHeight(*header_, kInnerWidth) + outer_->spacing() +
                      middle_->height() + outer_->spacing() + neededHeight(*footer_, kInnerWidth) +
                      margins.bottom();
    return std::min(whole, most);
}

}  // namespace quillon
