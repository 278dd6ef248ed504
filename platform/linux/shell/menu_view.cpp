#include "platform/linux/shell/menu_view.hpp"

#include <QKeyEvent>
#include <algorithm>

namespace quillon {

namespace {

QString textOf(const std::string& text) {
    return QString::fromStdString(text);
}

QKeySequence keyOf(const MenuItem& item) {
    return item.key.empty() ? QKeySequence() : QKeySequence(QStringLiteral("Ctrl+") + textOf(item.key));
}

/// Can the one be turned into the other without adding or removing items?
bool haveSameShape(const Menu& one, const Menu& other) {
    return std::ranges::equal(one, other, [](const MenuItem& a, const MenuItem& b) {
        return a.isSeparator == b.isSeparator && a.submenu.empty() == b.submenu.empty();
    });
}

}  // namespace

void MenuView::setContent(const Menu& content) {
    if (content == content_ && !isEmpty()) return;
    const bool changesInPlace = !isEmpty() && haveSameShape(content, content_);
    content_ = content;
    if (!changesInPlace) rebuild();
    refresh();
}

void MenuView::rebuild() {
    for (QAction* const action : actions()) {
        if (QMenu* const submenu = action->menu()) submenu->deleteLater();
    }
    clear();
    setToolTipsVisible(true);
    for (size_t i = 0; i < content_.size(); ++i) {
        if (content_[i].isSeparator) {
            addSeparator();
        } else if (!content_[i].submenu.empty()) {
            auto* const submenu = new MenuView(label_, onAction_);
            submenu->setParent(this, submenu->windowFlags());
            addMenu(submenu);
        } else {
            QAction* const action = addAction(QString());
            connect(action, &QAction::triggered, this, [this, action, i] {
                // A click toggles a checkable item; what is checked is for the content to say.
                action->setChecked(content_[i].checked);
                if (!content_[i].action.empty()) onAction_(content_[i]);
            });
        }
    }
}

void MenuView::refresh() {
    const QList<QAction*> all = actions();
    for (size_t i = 0; i < content_.size(); ++i) apply(*all.at(static_cast<qsizetype>(i)), content_[i]);
}

void MenuView::apply(QAction& action, const MenuItem& item) {
    if (item.isSeparator) return;
    action.setText(labelOf(item));
    action.setEnabled(item.enabled);
    action.setCheckable(item.checked);
    action.setChecked(item.checked);
    action.setToolTip(textOf(item.toolTip));
    action.setShortcut(keyOf(item));
    if (!item.submenu.empty()) static_cast<MenuView*>(action.menu())->setContent(item.submenu);
}

QString MenuView::labelOf(const MenuItem& item) const {
    QString label = textOf(item.title);
    if (label_ == Label::drawn) return label.replace(QLatin1Char('&'), QStringLiteral("&&"));
    // Over D-Bus an underscore marks a mnemonic and two are one of them; the toolkit makes the first "&" such
    // a mark. An invisible letter takes it.
    label.replace(QLatin1Char('_'), QStringLiteral("__"));
    return label.contains(QLatin1Char('&')) ? QStringLiteral("&\u200b") + label : label;
}

void MenuView::keyPressEvent(QKeyEvent* event) {
    const QKeySequence pressed(event->keyCombination());
    const auto all = actions();
    const auto found = std::ranges::find_if(all, [&](const QAction* action) {
        return action->isEnabled() && !action->shortcut().isEmpty() && action->shortcut() == pressed;
    });
    if (found == all.end()) return QMenu::keyPressEvent(event);
    close();
    (*found)->trigger();
}

}  // namespace quillon
