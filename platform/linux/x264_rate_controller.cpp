#include "platform/linux/x264_rate_controller.hpp"

#include <algorithm>
#include <cmath>

namespace quillon {

namespace {

constexpr int kCoarsestQp = 51;
constexpr int kReferenceQp = 26;

// How fast the models follow, and what slope they may learn: sharp text halves in about 15 steps of the
// quantiser, film in about 6.
constexpr double kLevelGain = 0.5;
constexpr double kSlopeGain = 0.25;
constexpr double kFlattestSlope = 1.0 / 20;
constexpr double kSteepestSlope = 1.0 / 5;
constexpr double kLeastBits = 2000;  ///< smaller frames are all overhead and teach nothing

// The first guesses for each grey level of a macroblock (see PictureContent).
constexpr double kKeyBits = 16;
constexpr double kKeyStepsToHalve = 13;
constexpr double kChangeBits = 6;
constexpr double kChangeStepsToHalve = 9;
/// A refinement costs about so many times the difference between two key frames.
constexpr double kRefinementFactor = 1.3;

// The largest frames, in seconds of the bit rate: they are what a user waits for on a link that is just
// fast enough. The first key frame is a guess and small, so that it is there soon.
constexpr double kLargestFirstFrame = 0.25;
constexpr double kLargestKeyFrame = 0.5;
constexpr double kLargestRefinement = 0.17;
/// Refinements leave the rest of a second's bits to what happens next.
constexpr double kShareOfRefinement = 0.75;

/// A change of more than this share of the picture is movement, not typing.
constexpr double kLargeShare = 0.1;
/// With more than this share changed there is little to be skipped, and the quantiser may move freely.
constexpr double kWholeShare = 0.75;
/// Movement in a part of the picture lowers the quantiser only by a step that is worth reading all of
/// the still part again.
constexpr int kWorthwhileStep = 4;

constexpr double kSlowestPace = 4;  ///< pictures a second
constexpr double kPaceGain = 0.25;

}  // namespace

SizeModel::SizeModel(double bitsPerUnit, double stepsToHalve)
    : level_(std::log2(bitsPerUnit) + kReferenceQp / stepsToHalve), slope_(1 / stepsToHalve) {}

double SizeModel::bits(double content, int qp) const {
    return content * std::exp2(level_ - slope_ * qp);
}

void SizeModel::learn(double content, int qp, double bits) {
    if (bits < kLeastBits || content <= 0) return;
    const double logBits = std::log2(bits / content);
    if (lastQp_ >= 0 && std::abs(qp - lastQp_) >= 2) {
        const double seen =
            std::clamp((lastLogBits_ - logBits) / (qp - lastQp_), kFlattestSlope, kSteepestSlope);
        const double slope = slope_ + kSlopeGain * (seen - slope_);
        level_ += (slope - slope_) * lastQp_;  // turns about the last point seen
        slope_ = slope;
    }
    level_ += kLevelGain * (logBits - (level_ - slope_ * qp));
    lastLogBits_ = logBits;
    lastQp_ = qp;
}

RateController::RateController(int bitrate, int fps, int macroblocks)
    : bitrate_(std::max(1, bitrate)),
      fps_(std::max(1, fps)),
      macroblocks_(macroblocks),
      keySizes_(kKeyBits, kKeyStepsToHalve),
      changeSizes_(kChangeBits, kChangeStepsToHalve),
      refinementFactor_(kRefinementFactor),
      picturesPerSecond_(fps_) {}

int RateController::choose(Kind kind, int64_t time, const PictureContent& content) {
    advance(time);
    if (kind == Kind::key) {
        return finest(kind, content, bitrate_ * (hasKey_ ? kLargestKeyFrame : kLargestFirstFrame), bitrate_);
    }
    const bool resting = !isLarge(content) && time - lastLarge_ >= kRest;
    const int best = finest(kind, content, bitrate_ * kLargestRefinement,
                            bitrate_ * (content.changedMacroblocks == 0 ? kShareOfRefinement : 1));
    const bool isWhole = content.changedMacroblocks >= kWholeShare * macroblocks_;
    const bool mayFall = resting || isWhole || settledQp_ - best >= kWorthwhileStep;
    return mayFall ? best : std::max(best, settledQp_);
}

bool RateController::canRefine(int64_t time, const PictureContent& still) {
    const int qp = choose(Kind::change, time, still);
    return qp <= settledQp_ - kWorthwhileStep || (qp < settledQp_ && qp <= kFinestQp);
}

void RateController::encoded(Kind kind, int64_t time, const PictureContent& content, int qp, double bits) {
    advance(time);
    sent_[static_cast<size_t>(slot_ % kSlots)] += bits;
    const double predicted = costOf(kind, content, qp).now;
    if (kind == Kind::key) {
        keySizes_.learn(content.detail, qp, bits);
        hasKey_ = true;
    } else if (const double refinement = refinementBits(content, qp); refinement > predicted / 2) {
        const double ratio = std::clamp(bits / predicted, 0.25, 4.0);
        refinementFactor_ = std::clamp(refinementFactor_ * std::sqrt(ratio), 0.2, 4.0);
    } else if (refinement == 0) {
        changeSizes_.learn(content.change, qp, bits);
    }
    if (isLarge(content)) lastLarge_ = time;
    if (time > lastPicture_) {
        const double pace = std::clamp(
            static_cast<double>(kSecond) / static_cast<double>(time - lastPicture_), kSlowestPace, fps_);
        picturesPerSecond_ += kPaceGain * (pace - picturesPerSecond_);
    }
    lastPicture_ = time;
    settledQp_ = qp;
}

int RateController::finest(Kind kind, const PictureContent& content, double largestFrame,
                           double limit) const {
    for (int qp = kFinestQp; qp < kCoarsestQp; ++qp) {
        const Cost cost = costOf(kind, content, qp);
        if (cost.now <= largestFrame && isSustainable(cost, limit)) return qp;
    }
    return kCoarsestQp;
}

RateController::Cost RateController::costOf(Kind kind, const PictureContent& content, int qp) const {
    const double change = changeSizes_.bits(content.change, qp);
    if (kind == Kind::key) return {.now = keySizes_.bits(content.detail, qp), .following = change};
    return {.now = change + refinementBits(content, qp), .following = change};
}

/// What reading still macroblocks again costs when the quantiser falls to `qp`.
double RateController::refinementBits(const PictureContent& content, int qp) const {
    if (qp >= settledQp_) return 0;
    const double still = 1 - static_cast<double>(content.changedMacroblocks) / macroblocks_;
    return still * refinementFactor_ *
           (keySizes_.bits(content.detail, qp) - keySizes_.bits(content.detail, settledQp_));
}

/// Would each second from now on, up to the one that begins now, stay within `limit` bits?
bool RateController::isSustainable(const Cost& cost, double limit) const {
    double old = 0;
    for (const double bits : sent_) old += bits;
    for (int passed = 0; passed < kSlots; ++passed) {
        // The frames that may follow until this slot ends, and what of the past still counts then.
        const double following = std::max(0.0, picturesPerSecond_ * (passed + 1) / kSlots - 1);
        if (cost.now + cost.following * following + old > limit) return false;
        old -= sent_[static_cast<size_t>((slot_ + passed + 1) % kSlots)];
    }
    return true;
}

bool RateController::isLarge(const PictureContent& content) const {
    return content.changedMacroblocks > kLargeShare * macroblocks_;
}

void RateController::advance(int64_t time) {
    const int64_t now = std::max(slot_, time * kSlots / kSecond);
    for (int64_t empty = std::max(slot_ + 1, now - kSlots + 1); empty <= now; ++empty) {
        sent_[static_cast<size_t>(empty % kSlots)] = 0;
    }
    slot_ = now;
}

}  // namespace quillon
