#pragma once

#include <cstdint>
#include <optional>

#include "base/time.hpp"
#include "platform/sockets.hpp"

namespace quillon {

/// Decides whether another frame may follow on a link that still has bytes of the last one. Those may wait
/// for as long as it takes to capture and encode the next: then the link is hardly idle, and a picture that
/// is taken now, or a cursor message, finds little before it. Bytes that the path itself holds do not count.
///
///     unsent in the kernel ── queues on the way ── the path: speed × shortest round trip ──▶ device
///     └── together at most what the link takes in 12 ms ──┘
///
/// How long they wait depends on the link's speed, which is learned here: what was acknowledged in the time
/// for which there was anything to acknowledge. One for each link; not for several threads at once.
class Backlog {
  public:
    bool allowsFrame(const SendProgress& progress);

    /// Bytes a second; nothing while it is not known.
    std::optional<double> speed() const { return speed_; }

  private:
    void learn(const SendProgress& progress);
    double most() const;

    // When the speed was learned last.
    int64_t acknowledged_ = 0;
    Duration busy_{};

    std::optional<double> speed_;
};

}  // namespace quillon
