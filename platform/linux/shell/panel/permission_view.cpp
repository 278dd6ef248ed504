#include "platform/linux/shell/panel/permission_view.hpp"

#include <QHBoxLayout>
#include <utility>

namespace quillon {

namespace {

/// The font has it on every system that draws text at all; a picture would need two colours and two sizes.
const auto kCheckMark = QStringLiteral("\u2713 ");

}  // namespace

PermissionView::PermissionView(QWidget* parent, const PanelPermission& content,
                               std::function<void(const PanelChange& change)> onChange)
    : QWidget(parent),
      label_(new QLabel(this)),
      granted_(new QLabel(this)),
      button_(new PushButton(this, PushButton::Look::plain)) {
    granted_->setForegroundRole(QPalette::PlaceholderText);
    auto* const line = new QHBoxLayout(this);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(space::medium);
    line->addWidget(label_);
    line->addStretch(1);
    line->addWidget(granted_);
    line->addWidget(button_);
    connect(button_, &PushButton::clicked, this, [onChange = std::move(onChange), id = content.button.id] {
        onChange(PanelChange{id, ""});
    });
    setContent(content);
}

void PermissionView::setContent(const PanelPermission& content) {
    label_->setText(QString::fromStdString(content.label));
    granted_->setText(kCheckMark + QString::fromStdString(content.text));
    granted_->setVisible(content.granted);
    button_->setContent(content.button);
    button_->setVisible(!content.granted);
    setToolTip(QString::fromStdString(content.toolTip));
    setAccessibleName(label_->text() + QStringLiteral(": ") +
                      (content.granted ? QString::fromStdString(content.text) : QStringLiteral("missing")));
}

}  // namespace quillon
