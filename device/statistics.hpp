#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/geometry.hpp"
#include "base/thread_annotations.hpp"
#include "device/time.hpp"
#include "device/video_decoder.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon::device {

/// Millisecond samples of which the newest are kept.
class Series {
  public:
    void add(double value);
    /// The smallest value that at least this share (0..1) of the samples do not exceed; 0 without any.
    double percentile(double share) const;
    /// {"p50": ..., "p95": ..., "p99": ..., "max": ...}, or null without a sample.
    std::string json() const;

  private:
    std::vector<double> values_;
    size_t next_ = 0;  ///< the oldest, once all room is taken
};

/// When the parts of a frame's way were done.
struct FrameTimes {
    uint64_t pts = 0;  ///< microseconds on the host's session clock
    Moment arrival;    ///< of the first byte
    Moment complete;   ///< of the last byte
    Moment decoded;
};

/// All that the device counts, over all links of its life. Any thread.
class Statistics {
  public:
    void linkAccepted(Moment now) EXCLUDES(lock_);
    void received(size_t bytes) EXCLUDES(lock_);
    void message(uint8_t type) EXCLUDES(lock_);
    void sent(wire::MessageType type) EXCLUDES(lock_);
    void protocolError() EXCLUDES(lock_);

    void linkNamed(const std::string& name) EXCLUDES(lock_);
    void settings(const std::string& line) EXCLUDES(lock_);
    void overlay(bool shown) EXCLUDES(lock_);
    void smoothing(uint8_t frames) EXCLUDES(lock_);
    void drops(uint32_t count) EXCLUDES(lock_);

    void malformedConfiguration() EXCLUDES(lock_);
    void decoded(const VideoDecoder::Result& result, const FrameTimes& times) EXCLUDES(lock_);
    void shown(const FrameTimes& times, Moment now) EXCLUDES(lock_);

    /// What the overlay shows, over the last second.
    struct Live {
        double fps = 0;
        double mbps = 0;
        double latencyMs = 0;  ///< median, first byte to shown
        double decodeMs = 0;   ///< median
        uint32_t drops = 0;
    };
    Live live(Moment now) EXCLUDES(lock_);

    /// Counts of the current link, for its closing line.
    struct LinkCounts {
        uint64_t shown = 0;
        uint64_t decodeErrors = 0;
        uint64_t missingReferences = 0;
    };
    LinkCounts linkCounts() const EXCLUDES(lock_);

    /// The whole account as JSON text.
    std::string summary(const std::string& greeting, Size panel) const EXCLUDES(lock_);

  private:
    struct Arrived {
        Moment when;
        size_t bytes = 0;
    };
    struct Shown {
        Moment when;
        double latencyMs = 0;
        double decodeMs = 0;
    };
    void noteSize(Size size) REQUIRES(lock_);
    double secondsShowing() const REQUIRES(lock_);

    mutable Mutex lock_;

    // Over the whole life
    uint64_t connections_ GUARDED_BY(lock_) = 0;
    uint64_t bytes_ GUARDED_BY(lock_) = 0;
    std::map<std::string, uint64_t> messages_ GUARDED_BY(lock_);
    std::map<std::string, uint64_t> sent_ GUARDED_BY(lock_);
    uint64_t protocolErrors_ GUARDED_BY(lock_) = 0;
    uint64_t framesDecoded_ GUARDED_BY(lock_) = 0;
    uint64_t framesShown_ GUARDED_BY(lock_) = 0;
    uint64_t decodeErrors_ GUARDED_BY(lock_) = 0;
    uint64_t missingReferences_ GUARDED_BY(lock_) = 0;
    std::vector<std::string> sizes_ GUARDED_BY(lock_);
    Series latency_ GUARDED_BY(lock_);
    Series transfer_ GUARDED_BY(lock_);
    Series decode_ GUARDED_BY(lock_);
    Series lag_ GUARDED_BY(lock_);
    double maxGapMs_ GUARDED_BY(lock_) = 0;
    std::optional<double> firstFrameMs_ GUARDED_BY(lock_);
    Clock::duration showing_ GUARDED_BY(lock_){};  ///< of ended links
    std::string linkName_ GUARDED_BY(lock_);
    std::string settings_ GUARDED_BY(lock_);
    bool overlay_ GUARDED_BY(lock_) = false;
    uint8_t smoothing_ GUARDED_BY(lock_) = 0;
    uint64_t dropsOfEndedLinks_ GUARDED_BY(lock_) = 0;

    // Of the current link
    Moment accepted_ GUARDED_BY(lock_);
    LinkCounts link_ GUARDED_BY(lock_);
    uint32_t drops_ GUARDED_BY(lock_) = 0;
    std::optional<Moment> firstShown_ GUARDED_BY(lock_);
    Moment lastShown_ GUARDED_BY(lock_);
    std::optional<Clock::duration> leastOffset_ GUARDED_BY(lock_);  ///< device clock minus session clock

    // Of the last second
    std::deque<Arrived> recentBytes_ GUARDED_BY(lock_);
    std::deque<Shown> recentFrames_ GUARDED_BY(lock_);
};

}  // namespace quillon::device
