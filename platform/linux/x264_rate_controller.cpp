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
constexpr double kSlopeGain = 0.1;  // for each step between two sizes
constexpr double kFlattestSlope = 1.0 / 20;
constexpr double kSteepestSlope = 1.0 / 5;
constexpr double kLeastBits = 2000;  // smaller frames are all overhead and teach nothing

// The first guesses, for each grey level of a macroblock (see PictureContent).
constexpr double kKeyBits = 60;
constexpr double kKeyStepsToHalve = 8;
constexpr double kChangeBits = 2;
constexpr double kChangeStepsToHalve = 8;
/// A refinement costs about so many times the difference between two key frames.
constexpr double kRefinementFactor = 1.3;
/// In movement such a frame is harder to foresee: of what it costs, so much of a surprise is believed.
constexpr double kImprovementFactor = 2;
constexpr double kImprovementGain = 0.5;
/// One of fewer steps costs next to nothing, which tells nothing about one of many.
constexpr int kTellingImprovement = 3;

// The largest frames, in seconds of the bit rate: they are what a user waits for on a link that is just
// fast enough. The first key frame is a guess and small, so that it is there soon.
constexpr double kLargestFirstFrame = 0.12;
constexpr double kLargestKeyFrame = 0.5;
constexpr double kLargestRefinement = 0.17;
constexpr double kLargestImprovement = 0.25;
constexpr double kGrowthAtRest = 0.25;  // a second
/// What is expected of an improvement that has waited for long; it will rather be a fraction of that.
constexpr double kLargestOverdue = 4;
/// On a link that is known to be too slow for the bit rate: so many seconds of the link.
constexpr double kLongestOnLink = 0.05;
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
// with caution, and by more than kRise only when frames are several times too large. A fall of more than
// kMostFall improves a single picture.
constexpr int kRise = 2;
constexpr int kMostFall = 3;
constexpr double kEmergency = 2.5;  // times the size that could go on
/// Where a movement begins at least: how well it can be predicted shows only then.
constexpr int kFirstMovingQp = 14;
/// Here movement looks as it will at rest.
constexpr int kFinestMovingQp = 2;
/// In movement a key frame is so much finer than its neighbours, which build on it.
constexpr int kFinerKey = 3;
/// How fast the quantiser of its neighbours is forgotten for that: one picture must not decide it.
constexpr double kUsualGain = 0.1;
// In movement frames are planned with this share of the bit rate, and get at least that share of an even
// distribution while the bit rate itself holds.
constexpr double kShareOfMovement = 0.98;
constexpr double kLeastShare = 0.6;
/// Less than this destroys what all later frames build on: rather a second goes beyond the bit rate.
constexpr double kFloorShare = 0.2;
/// So much of what was improved is lost with each picture that moves whole.
constexpr double kLossInMovement = 0.05;

}  // namespace

SizeModel::SizeModel(double bitsPerUnit, double stepsToHalve)
    : level_(std::log2(bitsPerUnit) + kReferenceQp / stepsToHalve), slope_(1 / stepsToHalve) {}

double SizeModel::bits(double content, double qp) const {
    return content * std::exp2(level_ - slope_ * qp);
}

void SizeModel::learn(double content, int qp, double bits, Learn what, double gain) {
    if (bits < kLeastBits || content <= 0) return;
    const double logBits = std::log2(bits / content);
    if (what == Learn::levelAndSlope && lastQp_ >= 0 && std::abs(qp - lastQp_) >= 2) {
        const double seen =
            std::clamp((lastLogBits_ - logBits) / (qp - lastQp_), kFlattestSlope, kSteepestSlope);
        const double trust = std::min(1.0, std::abs(qp - lastQp_) * kSlopeGain);
        const double slope = slope_ + trust * (seen - slope_);
        level_ += (slope - slope_) * lastQp_;  // turns about the last point seen
        slope_ = slope;
    }
    level_ += gain * (logBits - (level_ - slope_ * qp));
    lastLogBits_ = logBits;
    lastQp_ = qp;
}

SentBits::SentBits(double perSecond, double pace)
    : perSecond_(perSecond), window_(kSlots - std::clamp(static_cast<int>(kSlots / (2 * pace)), 1, 2)) {}

void SentBits::advance(int64_t time) {
    time_ = std::max(time_, time);
    const int64_t now = time_ * kSlots / kSecond;
    for (int64_t empty = std::max(now_ + 1, now - kSlots + 1); empty <= now; ++empty) {
        slots_[static_cast<size_t>(empty % kSlots)] = 0;
    }
    now_ = now;
}

/// Calls `visit(left, pictures)` for the end of each slot until what begins now is forgotten: the bits
/// that the past and the reserve leave for it, and how many pictures follow until then.
template <typename Visit>
void SentBits::lookAhead(const Plan& plan, Visit visit) const {
    const int64_t reserved = plan.reservedAt / (kSecond / kSlots);
    double old = 0;
    for (int64_t slot = now_ - window_ + 1; slot <= now_; ++slot) old += bitsOf(slot);
    for (int passed = 1; passed <= window_; ++passed) {
        const bool reserves = now_ + passed > reserved;
        visit(perSecond_ - old - (reserves ? plan.reserved : 0),
              std::max(0.0, plan.pace * passed / window_ - 1));
        old -= bitsOf(now_ - window_ + passed);
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
      sent_(bitrate_, fps_),
      keySizes_(kKeyBits, kKeyStepsToHalve),
      changeSizes_(kChangeBits, kChangeStepsToHalve),
      refinementFactor_(kRefinementFactor),
      improvementFactor_(kImprovementFactor) {}

void RateController::setLink(double bitsPerSecond) {
    link_ = bitsPerSecond;
    bitrate_ = std::min(asked_, link_);
    sent_.setLimit(bitrate_);
}

double RateController::largest(double share) const {
    const double most = bitrate_ * share;
    return link_ < asked_ ? std::min(most, link_ * kLongestOnLink) : most;
}

double RateController::largestKey(const Request& request) const {
    if (!hasKey_) return largest(kLargestFirstFrame);
    const double most = largest(kLargestKeyFrame);
    if (isMoving(request)) return most;
    return std::max(most, std::min(largestAtRest(request), bitrate_ * kLargestKeyFrame));
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
    const double most = largestKey(request);
    SentBits::Plan plan = planFor(request);
    plan.reserved = 0;
    if (moves) plan.following = changeBits(request, movementQp_);
    for (int qp = moves ? keyQp() : kFinestQp; qp < kCoarsestQp; ++qp) {
        plan.now = keySizes_.bits(request.content.detail, qp);
        if (plan.now <= most && sent_.allows(plan, 1)) return qp;
        if (request.isOverdue && qp == settledQp_ - 1 && plan.now <= bitrate_ * kLargestOverdue) return qp;
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
        // Nobody knows what a picture that has just come to rest costs; the smallest step tells.
        const bool isLeastStep = qp == std::max(kFinestQp, settledQp_ - kStepOfRefinement);
        if (request.isOverdue && isLeastStep && plan.now <= bitrate_ * kLargestOverdue) return qp;
    }
    return kCoarsestQp;
}

/// A quantiser that can be kept up; but when that leaves many bits, a single picture is improved with them,
/// and what stands or only moves keeps that. They are left at the start, and halfway between two key
/// frames, when the second of the last one is over and that of the next has not begun. An improved picture
/// takes its time to encode: who is in a hurry does without.
int RateController::chooseInMovement(const Request& request) const {
    const int base = chooseToGoOn(request);
    if (!moved_ || base > movementQp_ || request.isHurried) return base;
    SentBits::Plan plan = planFor(request);
    plan.following = changeBits(request, movementQp_);
    const double most = largest(kLargestImprovement);
    for (int qp = kFinestMovingQp; qp < std::min<double>(movementQp_, reachedQp_) - kMostFall; ++qp) {
        plan.now = changeBits(request, qp) + improvementBits(request, qp);
        if (plan.now <= most && sent_.allows(plan, kShareOfMovement)) return qp;
    }
    return base;
}

int RateController::chooseToGoOn(const Request& request) const {
    const double affordable = affordableInMovement(request);
    if (!moved_) {
        int qp = std::max(kFirstMovingQp, settledQp_);
        while (qp < kCoarsestQp && changeBits(request, qp) > affordable) ++qp;
        return qp;
    }
    int qp = movementQp_;
    while (qp < kCoarsestQp && changeBits(request, qp) > affordable) ++qp;
    if (qp > movementQp_) {
        const bool isEmergency = affordable * kEmergency < changeBits(request, movementQp_);
        return isEmergency ? qp : std::min(qp, movementQp_ + kRise);
    }
    return chooseFall(request, affordable);
}

/// The quantiser falls when both fit: the frame that improves all that was there, and those that follow.
int RateController::chooseFall(const Request& request, double affordable) const {
    const bool isWhole = request.content.changedMacroblocks >= kWholeShare * macroblocks_;
    const int nearest = movementQp_ - (isWhole ? kStepOfWhole : kStepOfPart);
    SentBits::Plan plan = planFor(request);
    for (int qp = std::max(kFinestMovingQp, movementQp_ - kMostFall); qp <= nearest; ++qp) {
        plan.following = changeBits(request, qp);
        const double improvement = improvementBits(request, qp);
        plan.now = plan.following + improvement;
        // Twice in a row nobody would know what goes on costs at the new quantiser.
        if (improved_ && improvement > 0) continue;
        if (plan.following <= affordable && plan.now <= largest(kLargestImprovement) &&
            sent_.allows(plan, kShareOfMovement)) {
            return qp;
        }
    }
    return movementQp_;
}

/// The size of a frame that could go on, a little below the limit so that a surprise does not starve
/// those after it.
double RateController::affordableInMovement(const Request& request) const {
    SentBits::Plan plan = planFor(request);
    const double calm = sent_.largestSteadyFrame(plan, kShareOfMovement);
    const double hard = sent_.largestSteadyFrame(plan, 1);
    const double least = kLeastShare * (bitrate_ - plan.reserved) / fps_;
    return std::max({calm, std::min(hard, least), kFloorShare * bitrate_ / fps_});
}

void RateController::encoded(const Request& request, int qp, double bits) {
    const PictureContent& content = request.content;
    sent_.advance(request.time);
    sent_.add(bits);
    const bool isKey = request.kind == Kind::key;
    if (isKey) {
        keySizes_.learn(content.detail, qp, bits, SizeModel::Learn::levelAndSlope, kKeyGain);
        hasKey_ = true;
    } else if (isMoving(request)) {
        learnMovement(request, qp, bits);
    } else {
        learnAtRest(request, qp, bits);
    }
    // What fell by more than a step of movement is one improved picture. And after a coarse key frame
    // those that build on it improve it step by step, not at once.
    const bool improvesOnce = moved_ && qp < movementQp_ - kMostFall;
    improved_ = !isKey && improvementBits(request, qp) > 0;
    if (isKey && moved_) {
        movementQp_ = std::max(qp, movementQp_);
    } else if (!improvesOnce) {
        movementQp_ = qp;
    }
    if (isKey || qp < reachedQp_) {
        reachedQp_ = qp;
    } else {
        reachedQp_ += kLossInMovement * content.changedMacroblocks / macroblocks_ * (qp - reachedQp_);
    }
    const bool goesOn = moved_ && isMoving(request);
    usualQp_ += (goesOn ? kUsualGain : 1) * (movementQp_ - usualQp_);
    moved_ = isMoving(request);
    if (isLarge(content)) lastLarge_ = request.time;
    lastFrame_ = request.time;
    settledQp_ = qp;
}

void RateController::learnMovement(const Request& request, int qp, double bits) {
    const double change = changeBits(request, qp);
    const double improvement = moved_ ? improvementBits(request, qp) : 0;
    if (improvement > 0) {
        if (qp > reachedQp_ - kTellingImprovement) return;
        const double seen = std::max(bits - change, improvement / 4) / improvement;
        improvementFactor_ = std::clamp(improvementFactor_ * std::pow(seen, kImprovementGain), 0.2, 6.0);
    } else {
        changeSizes_.learn(expectedChange(request.content), qp, bits, SizeModel::Learn::level,
                           bits > change ? kChangeGainUp : kChangeGainDown);
        usualChange_ += kChangeGainDown * (request.content.change - usualChange_);
    }
}

void RateController::learnAtRest(const Request& request, int qp, double bits) {
    const PictureContent& content = request.content;
    const double refinement = refinementBits(content, qp);
    const double change = changeSizes_.bits(content.change, qp);
    if (refinement > 0) {
        refinementFactor_ =
            std::clamp(refinementFactor_ * std::clamp(bits / (refinement + change), 0.5, 2.0), 0.2, 4.0);
    } else if (content.changedMacroblocks > 0) {
        const double predicted = changeBits(request, qp);
        changeSizes_.learn(expectedChange(content), qp, bits, SizeModel::Learn::level,
                           bits > predicted ? kChangeGainUp : kChangeGainDown);
        usualChange_ += kChangeGainDown * (content.change - usualChange_);
    }
}

bool RateController::canRefine(const Request& request) {
    if (isMoving(request)) return false;
    const int qp = choose(request);
    // A key frame that is due comes first, though it improves little: the steps go on from it.
    if (request.kind == Kind::key) return qp < settledQp_;
    return qp <= settledQp_ - kStepOfRefinement || (qp < settledQp_ && qp <= kFinestQp);
}

/// The finest quantiser of the next key frame if the movement goes on.
int RateController::keyQp() const {
    return std::max(kFinestQp, static_cast<int>(std::lround(usualQp_)) - kFinerKey);
}

SentBits::Plan RateController::planFor(const Request& request) const {
    const double key = keySizes_.bits(request.content.detail, keyQp());
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

/// What a picture in movement costs when all that was there before is improved to `qp`.
double RateController::improvementBits(const Request& request, int qp) const {
    if (qp >= reachedQp_) return 0;
    const double detail = request.content.detail;
    return improvementFactor_ * (keySizes_.bits(detail, qp) - keySizes_.bits(detail, reachedQp_));
}

double RateController::changeBits(const Request& request, int qp) const {
    return changeSizes_.bits(expectedChange(request.content), qp);
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
