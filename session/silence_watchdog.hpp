#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "base/time.hpp"
#include "platform/run_loop.hpp"

namespace quillon {

/// Notices a device that fell silent although frames are being sent to it.
class SilenceWatchdog {
  public:
    /// `onSilence` runs on the main thread, at each look while the silence lasts.
    SilenceWatchdog(RunLoop& loop, std::function<void()> onSilence)
        : loop_(loop), onSilence_(std::move(onSilence)), lastAckAt_(loop.now()) {}

    /// Begins anew: no frame sent, traffic seen just now. Main thread.
    void start() {
        lastAckAt_ = loop_.now();
        framesSinceConnect_ = 0;
        ackTimer_ = loop_.addTimer(kInterval, RunLoop::Repeat::forever, [this] { look(); });
    }
    /// Main thread.
    void stop() { ackTimer_.reset(); }

    /// The device acknowledged or kept alive. Any thread.
    void noteTraffic() { lastAckAt_ = loop_.now(); }
    /// A frame was sent, or left out because the link has no room. Any thread.
    void noteFrame() { ++framesSinceConnect_; }

  private:
    static constexpr Duration kInterval = 2s;
    static constexpr Duration kLongestSilence = 8s;
    static constexpr int kFramesBeforeWatching = 10;

    void look() {
        if (framesSinceConnect_ <= kFramesBeforeWatching) return;
        if (loop_.now() - lastAckAt_.load() > kLongestSilence) onSilence_();
    }

    RunLoop& loop_;
    const std::function<void()> onSilence_;
    std::atomic<Instant> lastAckAt_;
    std::atomic<int64_t> framesSinceConnect_ = 0;
    std::unique_ptr<Timer> ackTimer_;
};

}  // namespace quillon
