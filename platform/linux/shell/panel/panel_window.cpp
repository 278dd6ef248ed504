#include "platform/linux/shell/panel/panel_window.hpp"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "platform/linux/shell/x11_desktop.hpp"

namespace quillon {

namespace {

constexpr double kRadius = 12;
/// Between the panel and the edges of the screen or the pointer.
constexpr int kDistance = 8;

Qt::WindowFlags flagsOf(PanelWindow::Kind kind) {
    if (kind == PanelWindow::Kind::ordinary) {
        return Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint | Qt::WindowSystemMenuHint;
    }
    return Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
}

}  // namespace

PanelWindow::PanelWindow(Kind kind, Callbacks callbacks)
    : QWidget(nullptr, flagsOf(kind)),
      kind_(kind),
      callbacks_(std::move(callbacks)),
      isRounded_(kind == Kind::popover && isCompositing()),
      view_(new PanelView(this, callbacks_.onChange, callbacks_.onLeave)) {
    setWindowTitle(QStringLiteral("Quillon"));
    setAttribute(Qt::WA_TranslucentBackground, isRounded_);
    view_->header().setClosable(kind == Kind::popover);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view_);
}

void PanelWindow::setContent(const PanelContent& content) {
    view_->setContent(content);
    if (isVisible()) fit();
}

void PanelWindow::showAt(QPoint anchor) {
    QScreen* screen = QGuiApplication::screenAt(anchor);
    if (screen == nullptr) screen = QGuiApplication::primaryScreen();
    setScreen(screen);
    fit();
    if (kind_ == Kind::popover) {
        moveNear(anchor, *screen);
        // Another display left of this one or above it would take the panel over.
        connect(screen, &QScreen::geometryChanged, this,
                [this, screen, fromCorner = anchor - screen->geometry().topLeft()](const QRect& now) {
                    moveNear(now.topLeft() + fromCorner, *screen);
                });
    }
    show();
    raise();
    activateWindow();
}

void PanelWindow::moveNear(QPoint anchor, const QScreen& screen) {
    const QRect room = screen.availableGeometry().adjusted(kDistance, kDistance, -kDistance, -kDistance);
    // Away from the pointer, towards the middle of the screen: beneath a panel at the top, above one
    // below.
    const bool isLow = anchor.y() > screen.geometry().center().y();
    const int top = isLow ? anchor.y() - kDistance - height() : anchor.y() + kDistance;
    move(std::clamp(anchor.x() - width() / 2, room.left(), std::max(room.left(), room.right() + 1 - width())),
         std::clamp(top, room.top(), std::max(room.top(), room.bottom() + 1 - height())));
}

void PanelWindow::drawUnseen() {
    fit();
    QImage picture(size(), QImage::Format_RGB32);
    render(&picture);
}

void PanelWindow::fit() {
    const int most = screen()->availableGeometry().height() - 2 * kDistance;
    setFixedSize(PanelView::kWidth, view_->fittingHeight(most));
}

void PanelWindow::paintEvent(QPaintEvent*) {
    const Theme& theme = themeOf(palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double radius = isRounded_ ? kRadius : 0;
    const bool framed = kind_ == Kind::ordinary;
    painter.setPen(framed ? Qt::NoPen : QPen(theme.outline, 1));
    painter.setBrush(theme.window);
    painter.drawRoundedRect(framed ? QRectF(rect()) : QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius,
                            radius);
}

void PanelWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) return callbacks_.onLeave();
    QWidget::keyPressEvent(event);
}

void PanelWindow::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(
        event);  // a refusal would hold up the end of the application and of the login session
    callbacks_.onLeave();
}

void PanelWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() != QEvent::ActivationChange || kind_ != Kind::popover) return;
    if (std::exchange(wasActive_, isActiveWindow()) && !isActiveWindow()) callbacks_.onTurnedAway();
}

}  // namespace quillon
