#pragma once

#include <memory>
#include <optional>

#include "base/thread_annotations.hpp"
#include "base/time.hpp"
#include "platform/run_loop.hpp"
#include "session/link.hpp"
#include "session/silence_watchdog.hpp"

namespace quillon {

/// Permission to spend work on a picture. An encoded frame that is thrown away breaks every frame after
/// it until the next key frame; so capture and encoder ask before they work, and while the link is full
/// the newest picture is left for later. Any thread.
class FrameCredit {
  public:
    FrameCredit(const RunLoop& clock, std::shared_ptr<Link> link, std::shared_ptr<SilenceWatchdog> watchdog,
                int fps)
        : clock_(clock),
          link_(std::move(link)),
          watchdog_(std::move(watchdog)),
          frameInterval_(seconds(1.0 / fps)) {}

    /// May a picture be taken or encoded now? While the answer stays "no", a picture is counted with the
    /// link's drops for each frame interval that passes: one that gets its turn in time is late, not lost.
    /// To the watchdog it is a frame like those that were sent, or a link that takes nothing would never
    /// count as one that should have answered.
    bool ask() EXCLUDES(lock_) {
        const bool hasRoom = link_->hasRoomForVideo();
        const Instant now = clock_.now();
        const MutexLock held(lock_);
        if (hasRoom) {
            refusedSince_.reset();
        } else if (!refusedSince_) {
            refusedSince_ = now;
        } else if (now - *refusedSince_ >= frameInterval_) {
            refusedSince_ = now;
            link_->countRefusal();
            watchdog_->noteFrame();
        }
        return hasRoom;
    }

  private:
    const RunLoop& clock_;
    const std::shared_ptr<Link> link_;
    const std::shared_ptr<SilenceWatchdog> watchdog_;
    const Duration frameInterval_;
    Mutex lock_;
    std::optional<Instant> refusedSince_ GUARDED_BY(lock_);
};

}  // namespace quillon
