#include "platform/linux/shell/qt_dialogs.hpp"

#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <utility>

namespace quillon {

namespace {

void bringForward(QWidget& dialog) {
    dialog.show();
    dialog.raise();
    dialog.activateWindow();
}

}  // namespace

QtDialogs::~QtDialogs() {
    for (const auto& dialog : {question_, message_}) {
        if (!dialog) continue;
        dialog->disconnect();
        delete dialog.data();
    }
}

void QtDialogs::ask(const TextQuestion& question,
                    std::function<void(std::optional<std::string> text)> answer) {
    if (question_) return bringForward(*question_);
    auto* const dialog = new DialogFrame(question.message, question.information);
    question_ = dialog;

    auto* const field = new QLineEdit(QString::fromStdString(question.text), dialog);
    field->setPlaceholderText(QString::fromStdString(question.placeholder));
    field->setAccessibleName(QString::fromStdString(question.message));
    field->selectAll();
    auto* const buttons = new QDialogButtonBox(dialog);
    auto* const confirm =
        buttons->addButton(QString::fromStdString(question.confirm), QDialogButtonBox::AcceptRole);
    buttons->addButton(QString::fromStdString(question.cancel), QDialogButtonBox::RejectRole);
    confirm->setDefault(true);
    dialog->body().addWidget(field);
    dialog->body().addWidget(buttons);

    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    QObject::connect(dialog, &QDialog::finished, dialog, [answer = std::move(answer), field](int result) {
        if (result == QDialog::Accepted) {
            answer(field->text().toStdString());
        } else {
            answer(std::nullopt);
        }
    });
    field->setFocus();
    dialog->present();
}

void QtDialogs::tell(const Message& message) {
    if (message_) return bringForward(*message_);
    auto* const dialog = new DialogFrame(message.message, message.information);
    message_ = dialog;
    auto* const buttons = new QDialogButtonBox(dialog);
    buttons->addButton(QStringLiteral("OK"), QDialogButtonBox::AcceptRole)->setDefault(true);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    dialog->body().addWidget(buttons);
    dialog->present();
}

}  // namespace quillon
