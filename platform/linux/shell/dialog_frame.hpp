#pragma once

#include <QDialog>
#include <QVBoxLayout>

namespace quillon {

/// A dialog with the program's icon beside a message in bold, smaller information under it, and room for
/// more. It never blocks: it is shown, and its signals tell how it ended. Deletes itself when it is closed.
class DialogFrame : public QDialog {
  public:
    DialogFrame(const std::string& message, const std::string& information);

    /// Below the information.
    QVBoxLayout& body() { return *body_; }

    /// In the middle of the screen where the pointer is, in front of everything else of the application.
    void present();

  private:
    QVBoxLayout* const body_;
};

}  // namespace quillon
