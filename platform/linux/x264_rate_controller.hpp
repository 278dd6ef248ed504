#pragma once

#include <array>
#include <cstdint>

#include "platform/linux/x264_content_probe.hpp"
#include "platform/linux/x264_session.hpp"

namespace quillon {

/// Predicts the size of a frame from its content and quantiser, and learns from each frame's real size.
///
///     bits = content × 2^(level − slope × quantiser)
class SizeModel {
  public:
    /// Bits for one unit of content at quantiser 26, and how many steps of the quantiser halve them.
    SizeModel(double bitsPerUnit, double stepsToHalve);

    double bits(double content, double qp) const;

    enum class Learn { level, levelAndSlope };
    /// `gain` is how much of the surprise is believed, 0 to 1.
    void learn(double content, int qp, double bits, Learn what, double gain);

  private:
    double level_;  ///< log2 of the bits per unit at quantiser 0
    double slope_;  ///< log2 of bits for each step
    double lastLogBits_ = 0;
    int lastQp_ = -1;
};

/// The bits of the last second, in slots, and what they leave for the next.
class SentBits {
  public:
    /// Bits and pictures a second.
    SentBits(double perSecond, double pace);
    void setLimit(double perSecond) { perSecond_ = perSecond; }

    /// Times in microseconds; never back.
    void advance(int64_t time);
    void add(double bits) { slots_[static_cast<size_t>(now_ % kSlots)] += bits; }

    /// What is going to be sent from now on.
    struct Plan {
        double now = 0;          ///< bits at once
        double following = 0;    ///< bits of each picture after that
        double pace = 0;         ///< pictures a second
        double reserved = 0;     ///< bits of the next key frame
        int64_t reservedAt = 0;  ///< its time
    };
    /// Would each second up to the one that begins now stay within `share` of the bit rate?
    bool allows(const Plan& plan, double share) const;
    /// The largest frame that could go on at `plan`'s pace, beside its reserve, within `share` of it.
    double largestSteadyFrame(const Plan& plan, double share) const;

  private:
    static constexpr int kSlots = 120;  ///< in a second
    static constexpr int64_t kSecond = 1'000'000;

    double bitsOf(int64_t slot) const { return slots_[static_cast<size_t>((slot + kSlots) % kSlots)]; }

    template <typename Visit>
    void lookAhead(const Plan& plan, Visit visit) const;

    double perSecond_;
    /// Slots looked at at once: less than a second by half a picture, or by half of one of 30 a second,
    /// because they do not come quite evenly.
    int window_;
    std::array<double, kSlots> slots_{};  ///< by slot number modulo kSlots
    int64_t now_ = 0;                     ///< the current one
    int64_t time_ = 0;
};

/// Chooses the quantiser of each frame: the finest one that can be kept up, so that no second carries
/// more bits than the bit rate allows. Pure: times come from the caller, in microseconds of
/// presentation, never going back.
///
/// Two things make a quantiser that falls expensive: x264 skips a still macroblock unread only while the
/// quantiser does not fall, and a finer quantiser encodes all that is still or only moves once more. So
/// it falls in deliberate steps: with a key frame, little by little in movement, for a single picture when
/// a second has bits left, and at once when the screen has come to rest, which is what makes a still
/// picture sharp.
class RateController {
  public:
    // What it chooses from; the finest is that of a picture at rest.
    static constexpr int kFinestQp = X264Session::kFinestQp;
    static constexpr int kCoarsestQp = X264Session::kCoarsestQp;
    /// So long after the last large change the screen counts as at rest; microseconds.
    static constexpr int64_t kRest = 150'000;

    enum class Kind { key, change };

    /// One frame to be: of the last picture when nothing in `content` has changed.
    struct Request {
        Kind kind = Kind::change;
        int64_t time = 0;
        int64_t nextKey = 0;  ///< time of the next key frame that the cadence asks for
        PictureContent content;
        bool isOverdue = false;  ///< an improvement that has waited for as long as it may
        bool isHurried = false;  ///< encoding does not keep up with the pictures
    };

    /// Bit rate in bits per second.
    RateController(int bitrate, int fps, int macroblocks);

    /// What the link is known to take, in bits a second: infinite, or less than the bit rate.
    void setLink(double bitsPerSecond);

    int choose(const Request& request);

    /// Tells what became of it; follows each `choose` whose frame was encoded.
    void encoded(const Request& request, int qp, double bits);

    /// Has the last picture got the finest quantiser?
    bool isRefined() const { return settledQp_ <= kFinestQp; }
    /// Would encoding the last picture again improve it by a step that is worth a frame?
    bool canRefine(const Request& request);

  private:
    int chooseForKey(const Request& request) const;
    int chooseAtRest(const Request& request) const;
    int chooseInMovement(const Request& request) const;
    int chooseToGoOn(const Request& request) const;
    int chooseFall(const Request& request, double affordable) const;
    void learnMovement(const Request& request, int qp, double bits);
    void learnAtRest(const Request& request, int qp, double bits);
    double affordableInMovement(const Request& request) const;
    int keyQp() const;
    SentBits::Plan planFor(const Request& request) const;
    double refinementBits(const PictureContent& content, int qp) const;
    double improvementBits(const Request& request, int qp) const;
    double changeBits(const Request& request, int qp) const;
    double expectedChange(const PictureContent& content) const;
    bool isLarge(const PictureContent& content) const;
    bool isMoving(const Request& request) const;

    /// The size of a frame that takes `share` of the bit rate's second, and no longer than it may on a
    /// slow link.
    double largest(double share) const;
    double largestAtRest(const Request& request) const;
    double largestKey(const Request& request) const;

    const double asked_;  ///< bits a second
    double link_;
    double bitrate_;  ///< the smaller of both
    const double fps_;
    const double macroblocks_;

    SentBits sent_;
    SizeModel keySizes_;
    SizeModel changeSizes_;
    double refinementFactor_;
    double improvementFactor_;
    double usualChange_ = 0;
    bool hasKey_ = false;

    bool moved_ = false;              ///< the last frame was movement
    int movementQp_ = kCoarsestQp;    ///< that of the last frame that was no key frame in movement
    double usualQp_ = kCoarsestQp;    ///< that of movement, smoothed
    bool improved_ = false;           ///< the last frame read again what only moved
    double reachedQp_ = kCoarsestQp;  ///< what stands or only moves has about this quality
    int settledQp_ = kCoarsestQp;     ///< that of the last frame
    int64_t lastFrame_ = 0;           ///< time of the last frame
    int64_t lastLarge_ = 0;           ///< time of the last large change
};

}  // namespace quillon
