#pragma once

#include <functional>
#include <optional>
#include <string>

namespace quillon {

/// A dialog that asks for one line of text.
struct TextQuestion {
    std::string message;
    std::string information;
    std::string text;         ///< what the field holds at first
    std::string placeholder;  ///< what an empty field hints at
    std::string confirm = "Save";
    std::string cancel = "Cancel";
    bool operator==(const TextQuestion&) const = default;
};

/// A dialog that says something, with one button that closes it.
struct Message {
    std::string message;
    std::string information;  ///< several lines
    bool operator==(const Message&) const = default;
};

/// Dialogs in front of everything else of the application. Main thread. They never block: the run loop goes
/// on beneath them, streaming goes on. A dialog that is still open when it is asked for again comes to the
/// front and stays as it is.
class Dialogs {
  public:
    virtual ~Dialogs() = default;

    /// Calls `answer` once, from the loop: with the field's text as it stands, or with nothing when the user
    /// cancels or closes the dialog. Not at all when the question was open already, or the shell goes first.
    virtual void ask(const TextQuestion& question,
                     std::function<void(std::optional<std::string> text)> answer) = 0;

    virtual void tell(const Message& message) = 0;
};

}  // namespace quillon
