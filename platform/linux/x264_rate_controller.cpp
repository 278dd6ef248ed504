#include "platform/linux/x264_rate_controller.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/time.hpp"

namespace quillon {

namespace {

constexpr int kReferenceQp = 26;

// How fast the models follow, and what slopes they may learn: sharp text halves in about 15 steps of the
// quantiser, film in about 6.
constexpr double kKeyGain = 0.7;
constexpr double kChangeGainUp = 0.5;
constexpr double kChangeGainDown = 0.2;
constexpr double kSlopeGain = 0.4;
constexpr double kFlattestSlope = 1.0 / 20;
constexpr double kSteepestSlope = 1.0 / 5;
constexpr double kLeastBits = 2000;  // smaller frames are all overhead and teach nothing

// The first guesses, for each grey level of a macroblock (see PictureContent).
constexpr double kKeyBits = 60;
constexpr double kKeyStepsToHalve = 13;
constexpr double kChangeBits = 2;
constexpr double kChangeStepsToHalve = 8;
/// A refinement costs about so many times the difference between two key frames.
constexpr double kRefinementFactor = 1.3;
/// A frame whose quantiser fell is larger than those that follow; it is believed only so far.
constexpr double kMostAfterFall = 1.5;

// The largest frames, in seconds of the bit rate: they are what a user waits for on a link that is just
// fast enough. The first key frame is a guess and small, so that it is there soon.
constexpr double kLargestFirstFrame = 0.12;
constexpr double kLargestKeyFrame = 0.5;
constexpr double kLargestRefinement = 0.17;
constexpr double kGrowthAtRest = 0.25;  // a second
/// On a link that is known to be too slow for the bit rate: so many seconds of the link.
constexpr double kLongestOnLink = 0.07;
/// Refinements leave the rest of a second's bits to what happens next.
constexpr double kShareOfRefinement = 0.75;

/// A change of more than this share of the picture is movement, not typing.
constexpr double kLargeShare = 0.1;
/// With more than this share changed there is little to be skipped.
constexpr double kWholeShare = 0.75;
// By how many steps the quantiser falls at least: where a part of the picture is still, by as many as are
// worth reading that part again.
constexpr int kStepOfWhole = 1;
constexpr int kStepOfPart = 2;
constexpr int kStepOfRefinement = 4;
// In movement. Sizes answer to the quantiser by a factor of 2 in 3 to 12 steps; so it rises and falls
// with caution, and by more than kRise only when frames are several times too large.
constexpr double kStepsOfRise = 5;
constexpr double kStepsOfFall = 4;
constexpr int kRise = 2;
constexpr int kMostFall = 3;
constexpr double kEmergency = -1.3;  // log2
/// Where a movement begins at least: how well it can be predicted shows only then.
constexpr int kFirstMovingQp = 14;
/// Nobody sees more in what moves.
constexpr int kFinestMovingQp = 4;
/// In movement a key frame is so much finer than its neighbours, which build on it.
constexpr int kFinerKey = 2;
// In movement frames are planned with this share of the bit rate, and get at least that share of an even
// distribution while the bit rate itself holds.
constexpr double kShareOfMovement = 0.95;
constexpr double kLeastShare = 0.6;

}  // namespace

SizeModel::SizeModel(double bitsPerUnit, double stepsToHalve)
    : level_(std::log2(bitsPerUnit) + kReferenceQp / stepsToHalve), slope_(1 / stepsToHalve) {}

double SizeModel::bits(double content, int qp) const {
    return content * std::exp2(level_ - slope_ * qp);
}

void SizeModel::learn(double content, int qp, double bits, Learn what, double gain) {
    if (bits < kLeastBits || content <= 0) return;
    const double logBits = std::log2(bits / content);
    if (what == Learn::levelAndSlope && lastQp_ >= 0 && std::abs(qp - lastQp_) >= 2) {
        const double seen =
            std::clamp((lastLogBits_ - logBits) / (qp - lastQp_), kFlattestSlope, kSteepestSlope);
        const double slope = slope_ + kSlopeGain * (seen - slope_);
        level_ += (slope - slope_) * lastQp_;  // turns about the last point seen
        slope_ = slope;
    }
    level_ += gain * (logBits - (level_ - slope_ * qp));
    lastLogBits_ = logBits;
    lastQp_ = qp;
}

void SentBits::advance(int64_t time) {
    time_ = std::max(time_, time);
    const int64_t now = time_ * kSlots / kSecond;
    for (int64_t empty = std::max(now_ + 1, now - kSlots + 1); empty <= now; ++empty) {
        slots_[static_cast<size_t>(empty % kSlots)] = 0;
    }
    now_ = now;
}

/// Calls `visit(left, pictures)` for the end of each slot of the coming second: the bits that the past
/// and the reserve leave for what begins now, and how many pictures follow until then.
template <typename Visit>
void SentBits::lookAhead(const Plan& plan, Visit visit) const {
    double old = 0;
    for (const double bits : slots_) old += bits;
    for (int passed = 1; passed <= kSlots; ++passed) {
        const bool reserves = time_ + passed * kSecond / kSlots > plan.reservedAt;
        const double left = perSecond_ - old - (reserves ? plan.reserved : 0);
        visit(left, std::max(0.0, plan.pace * passed / kSlots - 1));
        old -= slots_[static_cast<size_t>((now_ + passed) % kSlots)];
    }
}

bool SentBits::allows(const Plan& plan, double share) const {
    bool allowed = true;
    lookAhead(plan, [&](double left, double pictures) {
        allowed &= plan.now + plan.following * pictures <= left - (1 - share) * perSecond_;
    });
    return allowed;
}

double SentBits::largestSteadyFrame(const Plan& plan, double share) const {
    double largest = std::numeric_limits<double>::max();
    lookAhead(plan, [&](double left, double pictures) {
        largest = std::min(largest, (left - (1 - share) * perSecond_) / (1 + pictures));
    });
    return largest;
}

RateController::RateController(int bitrate, int fps, int macroblocks)
    : asked_(std::max(1, bitrate)),
      link_(std::numeric_limits<double>::infinity()),
      bitrate_(asked_),
      fps_(std::max(1, fps)),
      macroblocks_(macroblocks),
      sent_(bitrate_),
      keySizes_(kKeyBits, kKeyStepsToHalve),
      changeSizes_(kChangeBits, kChangeStepsToHalve),
      refinementFactor_(kRefinementFactor) {}

void RateController::setLink(double bitsPerSecond) {
    link_ = bitsPerSecond;
    bitrate_ = std::min(asked_, link_);
    sent_.setLimit(bitrate_);
}

double RateController::largest(double share) const {
    const double most = bitrate_ * share;
    return link_ < asked_ ? std::min(most, link_ * kLongestOnLink) : most;
}

/// The longer nothing has been sent, the larger an improvement may be, so that it comes on any link.
double RateController::largestAtRest(const Request& request) const {
    const double idle = toSeconds(std::chrono::microseconds(request.time - lastFrame_));
    return bitrate_ * std::clamp(idle * kGrowthAtRest, kLargestRefinement, kShareOfRefinement);
}

int RateController::choose(const Request& request) {
    sent_.advance(request.time);
    if (request.kind == Kind::key) return chooseForKey(request);
    return isMoving(request) ? chooseInMovement(request) : chooseAtRest(request);
}

int RateController::chooseForKey(const Request& request) const {
    const bool moves = hasKey_ && isMoving(request);
    const double most = largest(hasKey_ ? kLargestKeyFrame : kLargestFirstFrame);
    SentBits::Plan plan = planFor(request);
    plan.reserved = 0;
    for (int qp = moves ? std::max(kFinestMovingQp, movementQp_ - kFinerKey) : kFinestQp; qp < kCoarsestQp;
         ++qp) {
        plan.now = keySizes_.bits(request.content.detail, qp);
        if (plan.now <= most && sent_.allows(plan, 1)) return qp;
    }
    return kCoarsestQp;
}

int RateController::chooseAtRest(const Request& request) const {
    const double share = request.content.changedMacroblocks == 0 ? kShareOfRefinement : 1;
    const double most = largestAtRest(request);
    SentBits::Plan plan = planFor(request);
    for (int qp = kFinestQp; qp < kCoarsestQp; ++qp) {
        plan.following = changeSizes_.bits(request.content.change, qp);
        plan.now = plan.following + refinementBits(request.content, qp);
        if (plan.now <= most && sent_.allows(plan, share)) return qp;
    }
    return kCoarsestQp;
}

int RateController::chooseInMovement(const Request& request) const {
    const double affordable = affordableInMovement(request);
    const double change = expectedChange(request.content);
    if (!moved_) {
        int qp = std::max(kFirstMovingQp, settledQp_);
        while (qp < kCoarsestQp && changeSizes_.bits(change, qp) > affordable) ++qp;
        return qp;
    }
    const double surplus = std::log2(affordable / changeSizes_.bits(change, movementQp_));
    if (surplus < 0) {
        const int rise = static_cast<int>(std::ceil(-surplus * kStepsOfRise));
        return std::min(kCoarsestQp, movementQp_ + (surplus < kEmergency ? rise : std::min(rise, kRise)));
    }
    const bool isWhole = request.content.changedMacroblocks >= kWholeShare * macroblocks_;
    const int fall = static_cast<int>(surplus * kStepsOfFall);
    if (fall < (isWhole ? kStepOfWhole : kStepOfPart)) return movementQp_;
    return std::max(kFinestMovingQp, movementQp_ - std::min(fall, kMostFall));
}

/// The size of a frame that could go on, a little below the limit so that a surprise does not starve
/// those after it.
double RateController::affordableInMovement(const Request& request) const {
    SentBits::Plan plan = planFor(request);
    const double calm = sent_.largestSteadyFrame(plan, kShareOfMovement);
    const double hard = sent_.largestSteadyFrame(plan, 1);
    const double least = kLeastShare * (bitrate_ - plan.reserved) / fps_;
    return std::max({1.0, calm, std::min(hard, least)});
}

void RateController::encoded(const Request& request, int qp, double bits) {
    const PictureContent& content = request.content;
    sent_.advance(request.time);
    sent_.add(bits);
    const double refinement = refinementBits(content, qp);
    if (request.kind == Kind::key) {
        keySizes_.learn(content.detail, qp, bits, SizeModel::Learn::levelAndSlope, kKeyGain);
        hasKey_ = true;
    } else if (!isMoving(request) && refinement > 0) {
        const double predicted = refinement + changeSizes_.bits(content.change, qp);
        refinementFactor_ = std::clamp(refinementFactor_ * std::clamp(bits / predicted, 0.5, 2.0), 0.2, 4.0);
    } else if (content.changedMacroblocks > 0) {
        const double change = expectedChange(content);
        const double predicted = changeSizes_.bits(change, qp);
        const double most = qp < settledQp_ ? kMostAfterFall * predicted : bits;
        changeSizes_.learn(change, qp, std::min(bits, most), SizeModel::Learn::level,
                           bits > predicted ? kChangeGainUp : kChangeGainDown);
        usualChange_ += kChangeGainDown * (content.change - usualChange_);
    }
    // After a coarse key frame those that build on it improve it step by step, not at once.
    movementQp_ = request.kind == Kind::change || !moved_ ? qp : std::max(qp, movementQp_);
    moved_ = isMoving(request);
    if (isLarge(content)) lastLarge_ = request.time;
    lastFrame_ = request.time;
    settledQp_ = qp;
}

bool RateController::canRefine(const Request& request) {
    const int qp = choose(request);
    return qp <= settledQp_ - kStepOfRefinement || (qp < settledQp_ && qp <= kFinestQp);
}

SentBits::Plan RateController::planFor(const Request& request) const {
    const int keyQp = std::max(kFinestQp, movementQp_ - kFinerKey);
    const double key = keySizes_.bits(request.content.detail, keyQp);
    return {
        .pace = fps_, .reserved = std::min(key, largest(kLargestKeyFrame)), .reservedAt = request.nextKey};
}

/// What reading still macroblocks again costs when the quantiser falls to `qp`.
double RateController::refinementBits(const PictureContent& content, int qp) const {
    if (qp >= settledQp_) return 0;
    const double still = 1 - content.changedMacroblocks / macroblocks_;
    return still * refinementFactor_ *
           (keySizes_.bits(content.detail, qp) - keySizes_.bits(content.detail, settledQp_));
}

/// The change that a frame's size goes with. How fast something moves matters little to its size, but a
/// movement that begins does.
double RateController::expectedChange(const PictureContent& content) const {
    return std::max(usualChange_, content.change / 2);
}

bool RateController::isLarge(const PictureContent& content) const {
    return content.changedMacroblocks > kLargeShare * macroblocks_;
}

bool RateController::isMoving(const Request& request) const {
    return isLarge(request.content) || request.time - lastLarge_ < kRest;
}

}  // namespace quillon
