#include "platform/linux/shell/menu_host.hpp"

#include <chrono>
#include <utility>

namespace quillon {

namespace {

/// Not every panel tells that its menu has closed, and some say that it opens when they only look into it;
/// after this time it is taken for closed.
constexpr auto kLongestOpening = std::chrono::seconds(20);

}  // namespace

MenuHost::MenuHost(MenuCallbacks callbacks)
    : callbacks_(std::move(callbacks)),
      exported_(MenuView::Label::exported, [this](const MenuItem& item) { report(item); }),
      drawn_(MenuView::Label::drawn, [this](const MenuItem& item) { report(item); }) {
    patience_.setSingleShot(true);
    patience_.setInterval(kLongestOpening);
    QObject::connect(&patience_, &QTimer::timeout, &context_, [this] { closed(); });
    watch(exported_);
    watch(drawn_);
    refreshExported();
}

void MenuHost::refreshExported() {
    if (!isOpen_) exported_.setContent(callbacks_.menuNeedsUpdate());
}

void MenuHost::watch(MenuView& menu) {
    QObject::connect(&menu, &QMenu::aboutToShow, &context_, [this, &menu] { opens(menu); });
    QObject::connect(&menu, &QMenu::aboutToHide, &context_, [this] { closed(); });
}

void MenuHost::opens(MenuView& menu) {
    if (menu.isVisible()) return;
    menu.setContent(callbacks_.menuNeedsUpdate());
    if (&menu == &exported_) patience_.start();
    if (!std::exchange(isOpen_, true)) callbacks_.menuWillOpen();
}

void MenuHost::closed() {
    patience_.stop();
    if (std::exchange(isOpen_, false)) callbacks_.menuDidClose();
}

void MenuHost::report(const MenuItem& item) {
    const auto tell = [this, item] {
        closed();
        // A copy: the action may destroy this menu.
        const auto onAction = callbacks_.onAction;
        onAction(item);
    };
    QMetaObject::invokeMethod(&context_, tell, Qt::QueuedConnection);
}

}  // namespace quillon
