#pragma once

#include <memory>

#include "base/thread_annotations.hpp"
#include "base/time.hpp"
#include "platform/run_loop.hpp"
#include "session/link.hpp"

namespace quillon {

/// Permission to spend work on a picture. An encoded frame that is thrown away breaks every frame after
/// it until the next key frame; so capture and encoder ask before they work, and while the link is full
/// the newest picture is left for later. Any thread.
class FrameCredit {
  public:
    FrameCredit(const RunLoop& clock, std::shared_ptr<Link> link, int fps)
        : clock_(clock), link_(std::move(link)), frameInterval_(seconds(1.0 / fps)) {}

    /// May a picture be taken or encoded now? A "no" is counted with the link's drops, once for each
    /// frame interval: those who ask again shortly still wait with the same picture.
    bool ask() EXCLUDES(lock_) {
        if (link_->hasRoomForVideo()) return true;
        const Instant now = clock_.now();
        {
            const MutexLock held(lock_);
            if (now - lastRefusal_ < frameInterval_) return false;
            lastRefusal_ = now;
        }
        link_->countRefusal();
        return false;
    }

  private:
    const RunLoop& clock_;
    const std::shared_ptr<Link> link_;
    const Duration frameInterval_;
    Mutex lock_;
    Instant lastRefusal_ GUARDED_BY(lock_);
};

}  // namespace quillon
