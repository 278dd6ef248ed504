#include "transport/backlog.hpp"

#include <algorithm>

namespace quillon {

namespace {

/// The link may have so much to do when the next frame is begun.
constexpr Duration kOverlap = 12ms;
/// So many bytes at most, fast as it may be.
constexpr double kMost = 24 * 1024;
/// Fewer never count: two packets, of which the first's acknowledgement waits for the second.
constexpr double kLeast = 3000;
/// While the speed is not known, and on local sockets, which do not tell it.
constexpr double kMostUnknown = 8 * 1024;

/// The speed is learned anew after so much time in which the link was busy.
constexpr Duration kLearning = 100ms;

}  // namespace

bool Backlog::allowsFrame(const SendProgress& progress) {
    learn(progress);
    const double path = speed_.value_or(0) * toSeconds(progress.shortestRoundTrip);
    return progress.unsent + std::max(0.0, progress.inFlight - path) <= most();
}

double Backlog::most() const {
    return speed_ ? std::clamp(*speed_ * toSeconds(kOverlap), kLeast, kMost) : kMostUnknown;
}

void Backlog::learn(const SendProgress& progress) {
    const Duration busy = progress.busy - busy_;
    if (busy < kLearning) return;
    speed_ = static_cast<double>(progress.acknowledged - acknowledged_) / toSeconds(busy);
    busy_ = progress.busy;
    acknowledged_ = progress.acknowledged;
}

}  // namespace quillon
