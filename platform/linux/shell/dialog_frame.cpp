#include "platform/linux/shell/dialog_frame.hpp"

#include <QCursor>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>

#include "platform/linux/shell/icons.hpp"
#include "platform/linux/shell/theme.hpp"

namespace quillon {

namespace {

constexpr int kIconSide = 48;
constexpr int kTextWidth = 340;
constexpr int kMargin = 20;

}  // namespace

DialogFrame::DialogFrame(const std::string& message, const std::string& information)
    // Above the panel, which is above everything.
    : QDialog(nullptr,
              Qt::Dialog | Qt::WindowTitleHint | Qt::WindowCloseButtonHint | Qt::WindowStaysOnTopHint),
      body_(new QVBoxLayout) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Quillon"));

    auto* const icon = new QLabel(this);
    icon->setPixmap(applicationIcon().pixmap(QSize(kIconSide, kIconSide), devicePixelRatioF()));
    auto* const headline = new QLabel(QString::fromStdString(message), this);
    headline->setFont(scaledFont(1.15, QFont::DemiBold));
    auto* const details = new QLabel(QString::fromStdString(information), this);
    details->setForegroundRole(QPalette::WindowText);
    details->setTextInteractionFlags(Qt::TextSelectableByMouse);
    for (QLabel* const label : {headline, details}) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
        label->setFixedWidth(kTextWidth);
    }
    setAccessibleName(headline->text());
    setAccessibleDescription(details->text());

    body_->setSpacing(space::medium);
    body_->addWidget(headline);
    body_->addWidget(details);
    auto* const line = new QHBoxLayout(this);
    line->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    line->setSpacing(space::large);
    line->setSizeConstraint(QLayout::SetFixedSize);
    line->addWidget(icon, 0, Qt::AlignTop);
    line->addLayout(body_, 1);
}

void DialogFrame::present() {
    const QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (screen == nullptr) screen = QGuiApplication::primaryScreen();
    const QRect room = screen->availableGeometry();
    const QSize size = sizeHint();
    move(room.center() - QPoint(size.width() / 2, size.height() / 2));
    show();
    raise();
    activateWindow();
}

}  // namespace quillon
