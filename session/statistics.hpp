#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>

#include "base/thread_annotations.hpp"
#include "base/time.hpp"
#include "session/types.hpp"

namespace quillon {

/// Counts what leaves the host, how long the device takes to answer, and what the user does there. Any
/// thread; knows no clock.
class Statistics {
  public:
    /// Begins a new count at `now`. Latency samples are kept.
    void begin(Instant now);

    /// A round trip of `milliseconds`, seen at `now`. The newest 240 are kept.
    void addLatency(Instant now, double milliseconds);

    /// One frame of `bytes` was sent. Once a second has passed since the last sample: a new one, and the
    /// counts start again.
    std::optional<SessionStats> record(Instant now, size_t bytes, int64_t drops);

    size_t latencySampleCount() const;

    /// An input message came. They are counted over all links.
    void countInput() { ++inputCount_; }
    int64_t inputCount() const { return inputCount_; }

  private:
    std::optional<double> medianLatency(Instant now) const REQUIRES(lock_);

    std::atomic<int64_t> inputCount_ = 0;

    mutable Mutex lock_;
    int64_t framesSent_ GUARDED_BY(lock_) = 0;
    int64_t bytesSent_ GUARDED_BY(lock_) = 0;
    Instant lastStats_ GUARDED_BY(lock_);
    std::deque<std::pair<Instant, double>> latencySamples_ GUARDED_BY(lock_);
};

}  // namespace quillon
