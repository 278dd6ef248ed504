#pragma once

#include "base/time.hpp"

namespace quillon {

/// Whether encoding keeps up with the pictures. On a machine that is too slow for them, or busy with other
/// things, each frame that takes longer than its interval costs the user a picture.
class EncodeLoad {
  public:
    explicit EncodeLoad(Duration frameInterval) : frameInterval_(frameInterval) {}

    /// A picture's frame took so long.
    void encoded(Duration took) {
        share_ += kGain * (toSeconds(took) / toSeconds(frameInterval_) - share_);
        isHigh_ = share_ > (isHigh_ ? kRelieved : kTooHigh);
    }

    /// Should frames be cheaper from now on?
    bool isHigh() const { return isHigh_; }

  private:
    static constexpr double kGain = 0.1;
    static constexpr double kTooHigh = 0.9;
    /// Far enough below for what then costs more again.
    static constexpr double kRelieved = 0.6;

    const Duration frameInterval_;
    double share_ = 0;  ///< of the interval, smoothed
    bool isHigh_ = false;
};

}  // namespace quillon
