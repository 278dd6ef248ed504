#include "platform/linux/shell/qt_status_item.hpp"

#include <QCursor>
#include <utility>

#include "platform/linux/shell/icons.hpp"
#include "platform/linux/shell/x11_desktop.hpp"

namespace quillon {

namespace {

/// The menu whose one item is the click.
MenuCallbacks menuOfClick(const std::function<void()>& onClick) {
    MenuItem open;
    open.title = "Open Quillon";
    open.action = "open";
    return {.menuNeedsUpdate = [open] { return Menu{open}; },
            .menuWillOpen = [] {},
            .menuDidClose = [] {},
            .onAction = [onClick](const MenuItem&) { onClick(); }};
}

}  // namespace

QtStatusItem::QtStatusItem(TrayPlaces& places, std::function<void()> onClick)
    : QtStatusItem(places, menuOfClick(onClick), onClick) {}

QtStatusItem::QtStatusItem(TrayPlaces& places, MenuCallbacks menu)
    : QtStatusItem(places, std::move(menu), nullptr) {}

QtStatusItem::QtStatusItem(TrayPlaces& places, MenuCallbacks menu, std::function<void()> onClick)
    : places_(places), onClick_(std::move(onClick)), menu_(std::move(menu)) {
    if (places_.kind() != TrayPlaces::Kind::none) {
        appear();
    } else {
        QObject::connect(&places_, &TrayPlaces::found, &context_, [this] { appear(); });
    }
}

void QtStatusItem::appear() {
    icon_ = std::make_unique<QSystemTrayIcon>();
    QObject::connect(
        icon_.get(), &QSystemTrayIcon::activated, &context_,
        [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger) clicked();
        },
        // From the loop: the click may destroy the item.
        Qt::QueuedConnection);
    const bool panelDraws = places_.kind() == TrayPlaces::Kind::notifier;
    icon_->setContextMenu(panelDraws ? &menu_.exported() : &menu_.drawn());
    draw();
    icon_->show();
}

void QtStatusItem::setLook(const StatusItemLook& look) {
    look_ = look;
    if (icon_) draw();
}

void QtStatusItem::draw() {
    if (!drawn_ || drawn_->icon != look_.icon) {
        const bool panelDraws = places_.kind() == TrayPlaces::Kind::notifier;
        QIcon icon = panelDraws ? themedStatusIcon(look_.icon) : QIcon();
        if (icon.isNull()) {
            icon = statusIcon(look_.icon, panelDraws ? std::nullopt : systemTrayColor());
        }
        icon_->setIcon(icon);
    }
    if (!drawn_ || drawn_->toolTip != look_.toolTip) icon_->setToolTip(QString::fromStdString(look_.toolTip));
    drawn_ = look_;
}

void QtStatusItem::clicked() {
    // A copy: the click may destroy this item.
    if (const auto onClick = onClick_) {
        onClick();
    } else {
        menu_.drawn().popup(QCursor::pos());
    }
}

}  // namespace quillon
