#include "platform/linux/shell/qt_panel.hpp"

#include <QApplication>
#include <QCursor>
#include <utility>

namespace quillon {

namespace {

/// Between the press that dismisses the panel and the report of the click on the status item, which some
/// trays send when the button is released.
constexpr qint64 kLongestClick = 700;  // milliseconds

}  // namespace

bool LastDismissal::wasThisClick() {
    const bool was = since_.isValid() && since_.elapsed() < kLongestClick;
    since_.invalidate();
    return was;
}

QtPanel::QtPanel(const TrayPlaces& places, std::shared_ptr<LastDismissal> dismissal, PanelCallbacks callbacks)
    : places_(places), dismissal_(std::move(dismissal)), callbacks_(std::move(callbacks)) {}

void QtPanel::make() {
    const auto onChange = [this](const PanelChange& change) {
        QMetaObject::invokeMethod(
            &context_, [this, change] { callbacks_.onChange(change); }, Qt::QueuedConnection);
    };
    const auto kind =
        places_.kind() == TrayPlaces::Kind::none ? PanelWindow::Kind::ordinary : PanelWindow::Kind::popover;
    window_.reset(new PanelWindow(
        kind,
        {.onChange = onChange, .onLeave = [this] { leaveLater(); }, .onTurnedAway = [this] { dismiss(); }}));
    if (kind == PanelWindow::Kind::popover) {
        presses_ = std::make_unique<OutsidePresses>([this] { dismiss(); });
    }
}

void QtPanel::show(const PanelContent& content) {
    if (!window_) {
        make();
        window_->setContent(content);
        window_->showAt(QCursor::pos());
    } else {
        window_->setContent(content);
        window_->raise();
        window_->activateWindow();
    }
}

void QtPanel::update(const PanelContent& content) {
    if (window_) window_->setContent(content);
}

void QtPanel::close() {
    if (!window_) return;
    presses_.reset();
    // A hidden window loses its activation, which is no dismissal any more.
    const auto gone = std::move(window_);
    gone->hide();
    callbacks_.onClose();
}

void QtPanel::leaveLater() {
    QMetaObject::invokeMethod(
        &context_, [this] { close(); }, Qt::QueuedConnection);
}

void QtPanel::dismiss() {
    if (!window_) return;
    // A dialog or tool tip of ours is no reason to go.
    if (QApplication::activeWindow() != nullptr && QApplication::activeWindow() != window_.get()) return;
    dismissal_->remember();
    leaveLater();
}

}  // namespace quillon
