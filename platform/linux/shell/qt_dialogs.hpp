#pragma once

#include <QPointer>

#include "platform/dialogs.hpp"
#include "platform/linux/shell/dialog_frame.hpp"

namespace quillon {

/// The application's dialogs, at most one of each kind at a time.
class QtDialogs : public Dialogs {
  public:
    ~QtDialogs() override;

    void ask(const TextQuestion& question,
             std::function<void(std::optional<std::string> text)> answer) override;
    void tell(const Message& message) override;

  private:
    QPointer<DialogFrame> question_;
    QPointer<DialogFrame> message_;
};

}  // namespace quillon
