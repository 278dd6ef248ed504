#pragma once

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "base/time.hpp"

namespace quillon {

/// How fast the link takes frames, learned from how long it stays busy with each. Without it the
/// encoder would fill a second of the bit rate that it was given even where the link takes far longer,
/// and what the user sees and points at would wait behind a key frame.
///
/// Only a link that was seen busy for longer than a frame's interval tells its speed; one that is always
/// free again in time is at least so fast.
class LinkEstimate {
  public:
    explicit LinkEstimate(Duration frameInterval) : frameInterval_(frameInterval) {}

    /// Bits a second; infinite while the link has never been too slow.
    double bitsPerSecond() const { return bitsPerSecond_; }

    /// A frame of so many bits went to the link. False when it is too small to learn from.
    bool sent(Instant now, double bits) {
        sentAt_ = now;
        bits_ = bits < kLeastTelling ? 0 : bits;
        wasBusy_ = false;
        return bits_ > 0;
    }
    /// The link was asked and is still busy with that frame.
    void sawBusy(Instant now) { wasBusy_ = wasBusy_ || now - sentAt_ >= frameInterval_; }
    /// The link was asked and is free. `told` is what it took lately by its own account, bits a second: a
    /// free link may still have a rest of the frame to send, so it looks faster from here than it is.
    void sawFree(Instant now, std::optional<double> told = std::nullopt) {
        if (bits_ == 0) return;
        const double seen = bits_ / std::max(toSeconds(now - sentAt_), toSeconds(kLeastTime));
        const double speed = std::min(seen, told.value_or(kUnlimited));
        bits_ = 0;
        if (!wasBusy_) {
            // Queues on the way may have swallowed the frame whole: that it went at once is no speed.
            suspected_ = false;
            bitsPerSecond_ *= kCuriosity;
        } else if (bitsPerSecond_ < kUnlimited) {
            bitsPerSecond_ = std::max(kSlowest, bitsPerSecond_ + kGain * (speed - bitsPerSecond_));
        } else if (std::exchange(suspected_, true)) {
            // Once may be a device that was busy itself; a slow link is so twice in a row.
            bitsPerSecond_ = std::max(kSlowest, speed);
        }
    }

  private:
    static constexpr double kUnlimited = std::numeric_limits<double>::infinity();
    static constexpr double kLeastTelling = 50'000;  ///< bits
    static constexpr double kSlowest = 500'000;      ///< bits a second; a stall is not a speed
    static constexpr double kGain = 0.5;
    static constexpr double kCuriosity = 1.04;  ///< a frame that went well lets the next be larger
    static constexpr Duration kLeastTime = 1ms;

    const Duration frameInterval_;
    double bitsPerSecond_ = kUnlimited;
    Instant sentAt_{};
    double bits_ = 0;  ///< of the frame that the link has; 0 when it is known to be free
    bool wasBusy_ = false;
    bool suspected_ = false;  ///< the last telling frame on a link without a limit found it busy
};

}  // namespace quillon
