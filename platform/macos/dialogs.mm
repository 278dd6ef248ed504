#include "platform/macos/dialogs.hpp"

#import <AppKit/AppKit.h>

#include <utility>

#include "platform/macos/text.hpp"

namespace quillon {

namespace {

constexpr CGFloat kFieldWidth = 260;  // points
constexpr CGFloat kFieldHeight = 24;

NSAlert* makeAlert(const std::string& message, const std::string& information) {
    NSAlert* const alert = [NSAlert new];
    alert.messageText = systemText(message);
    alert.informativeText = systemText(information);
    return alert;
}

}  // namespace

/// The alerts that are open now. Shared with what is posted, which may run when its owner has gone.
class MacDialogs::Alerts {
  public:
    using Answer = std::function<void(std::optional<std::string>)>;

    void ask(const TextQuestion& question, const Answer& answer) {
        if (isEnding_ || comesForward(question_)) return;
        question_ = makeAlert(question.message, question.information);
        [question_ addButtonWithTitle:systemText(question.confirm)];
        [question_ addButtonWithTitle:systemText(question.cancel)];
        NSTextField* const field =
            [[NSTextField alloc] initWithFrame:CGRectMake(0, 0, kFieldWidth, kFieldHeight)];
        field.stringValue = systemText(question.text);
        field.placeholderString = systemText(question.placeholder);
        question_.accessoryView = field;
        question_.window.initialFirstResponder = field;
        const bool confirmed = show(question_) == NSAlertFirstButtonReturn;
        question_ = nil;
        if (isEnding_) return;
        answer(confirmed ? std::optional(plainText(field.stringValue)) : std::nullopt);
    }

    void tell(const Message& message) {
        if (isEnding_ || comesForward(message_)) return;
        message_ = makeAlert(message.message, message.information);
        show(message_);
        message_ = nil;
    }

    /// What is open answers nobody any more, and nothing opens.
    void end() { isEnding_ = true; }

  private:
    static NSModalResponse show(NSAlert* alert) {
        [NSApp activate];
        return [alert runModal];
    }

    static bool comesForward(NSAlert* alert) {
        if (alert == nil) return false;
        [NSApp activate];
        [alert.window makeKeyAndOrderFront:nil];
        return true;
    }

    NSAlert* question_ = nil;
    NSAlert* message_ = nil;
    bool isEnding_ = false;
};

MacDialogs::MacDialogs(RunLoop& loop) : loop_(loop), alerts_(std::make_shared<Alerts>()) {}

MacDialogs::~MacDialogs() {
    close();
}

void MacDialogs::close() {
    alerts_->end();
}

void MacDialogs::ask(const TextQuestion& question,
                     std::function<void(std::optional<std::string> text)> answer) {
    loop_.post([alerts = alerts_, question, answer = std::move(answer)] { alerts->ask(question, answer); });
}

void MacDialogs::tell(const Message& message) {
    loop_.post([alerts = alerts_, message] { alerts->tell(message); });
}

}  // namespace quillon
