#include "transport/backlog.hpp"

#include <algorithm>

namespace quillon {

namespace {

/// The link may have so much to do when the next frame is begun.
constexpr Duration kOverlap = 12ms;
// And so many bytes at most, fast as it may be: unsent in the kernel, and in queues on the way.
constexpr double kMostUnsent = 8 * 1024;
constexpr double kMostQueued = 16 * 1024;
/// Less does not count as queued: two packets, of which the first's acknowledgement waits for the second.
constexpr double kLeastQueued = 3000;

/// The speed is learned anew after so much time in which the link was busy.
constexpr Duration kLearning = 100ms;

}  // namespace

bool Backlog::allowsFrame(const SendProgress& progress) {
    learn(progress);
    double mostUnsent = kMostUnsent;
    double mostQueued = kMostQueued;
    if (isKnown_) {
        const double overlap = speed_ * toSeconds(kOverlap);
        mostUnsent = std::min(mostUnsent, overlap);
        mostQueued = std::clamp(overlap, kLeastQueued, kMostQueued);
    }
    const double path = speed_ * toSeconds(progress.shortestRoundTrip);
    const double queued = std::max(0.0, progress.inFlight - path - mostQueued);
    return progress.unsent + queued <= mostUnsent;
}

void Backlog::learn(const SendProgress& progress) {
    const Duration busy = progress.busy - busy_;
    if (busy < kLearning) return;
    speed_ = static_cast<double>(progress.acknowledged - acknowledged_) / toSeconds(busy);
    isKnown_ = true;
    busy_ = progress.busy;
    acknowledged_ = progress.acknowledged;
}

}  // namespace quillon
