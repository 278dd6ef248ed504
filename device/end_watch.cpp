#include "device/end_watch.hpp"

#include <algorithm>

namespace quillon::device {
namespace {

constexpr Clock::duration kLongWait = std::chrono::hours(1);

}  // namespace

EndWatch::EndWatch(std::optional<Clock::duration> runTime) {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    if (runTime) end_ = Clock::now() + *runTime;
}

void EndWatch::wait() {
    while (!comesWithin(kLongWait)) {
    }
}

bool EndWatch::comesWithin(Clock::duration limit) {
    if (end_) limit = std::clamp(*end_ - Clock::now(), Clock::duration::zero(), limit);
    const auto whole = std::chrono::floor<std::chrono::seconds>(limit);
    const timespec wait{whole.count(), (limit - whole).count()};
    come_ = come_ || sigtimedwait(&signals_, nullptr, &wait) > 0 || (end_ && Clock::now() >= *end_);
    return come_;
}

}  // namespace quillon::device
