#include "platform/linux/shell/end_signals.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <utility>

namespace quillon {

namespace {

volatile sig_atomic_t eventOfHandler = -1;

void setHandler(void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

void tell(int) {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(eventOfHandler, &one, sizeof one);
}

}  // namespace

EndSignals::EndSignals(std::function<void()> action)
    : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), notifier_(event_, QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this, action = std::move(action)] {
        uint64_t count = 0;
        [[maybe_unused]] const ssize_t taken = read(event_, &count, sizeof count);
        action();
    });
    eventOfHandler = event_;
    setHandler(tell, static_cast<int>(SA_RESTART | SA_RESETHAND));
}

EndSignals::~EndSignals() {
    setHandler(SIG_DFL, 0);
    close(event_);
}

}  // namespace quillon
