#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace quillon {

/// When the next picture of a changing screen may be taken: on a grid of one interval, so never faster than
/// the frame rate.
///
/// A late picture, of a consumer that was busy, neither lowers the rate nor delays all that follow: the next
/// may come a little earlier. And a program that draws at the grid's own rate would find each of its pictures
/// waiting for the same part of an interval, up to a whole one: the grid moves towards the moments of its
/// changes, by one interval in all until the screen rests, and by what late pictures have cost it. So the
/// rate still holds.
class PictureGrid {
  public:
    using Clock = std::chrono::steady_clock;

    /// `interval` between two pictures.
    explicit PictureGrid(Clock::duration interval) : interval_(interval) {}

    /// The next picture does not come earlier.
    Clock::time_point due() const { return due_; }

    /// A picture is taken at `now`, not before it is due. `changedAt` is when the screen began to differ from
    /// the last one; nothing when it is not to tell the grid where to go.
    void take(Clock::time_point now, std::optional<Clock::time_point> changedAt) {
        const auto onGrid = due_ + interval_;
        due_ = std::max(onGrid, now + interval_ - std::min<Clock::duration>(kCatchUp, interval_ / 4));
        const bool rested = now >= onGrid;
        slid_ = rested ? Clock::duration::zero() : std::max(Clock::duration::zero(), slid_ - (due_ - onGrid));
        if (!changedAt) return;
        const auto slide =
            std::clamp<Clock::duration>(now - *changedAt, Clock::duration::zero(), interval_ / 8);
        const auto allowed = std::min(slide, interval_ - slid_);
        slid_ += allowed;
        due_ -= allowed;
    }

  private:
    /// How much earlier than an interval after a late picture the next may come.
    static constexpr auto kCatchUp = std::chrono::milliseconds(4);

    const Clock::duration interval_;
    Clock::time_point due_;
    Clock::duration slid_{};  ///< how far ahead of itself the grid has moved
};

}  // namespace quillon
