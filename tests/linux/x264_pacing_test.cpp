// The parts of the encoder that decide when and how large: all pure.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/linux/x264_content_probe.hpp"
#include "platform/linux/x264_encode_load.hpp"
#include "platform/linux/x264_keyframe_cadence.hpp"
#include "platform/linux/x264_link_estimate.hpp"
#include "platform/linux/x264_rate_controller.hpp"
#include "tests/linux/x264_test_support.hpp"

namespace quillon {
namespace {

using x264_test::drawNoise;
using x264_test::drawText;
using x264_test::makeI420;

constexpr int64_t kSecond = 1'000'000;

/// Encodes a key frame at `time`, then delta frames at the given interval, and counts them until the
/// next key frame is due.
int framesUntilDue(KeyframeCadence& cadence, int64_t time, int64_t interval) {
    cadence.encoded(true, time);
    int frames = 1;
    for (time += interval; !cadence.isDue(time); time += interval) {
        cadence.encoded(false, time);
        ++frames;
    }
    return frames;
}

TEST(KeyframeCadenceTest, FirstFrameIsAKeyFrame) {
    EXPECT_TRUE(KeyframeCadence(60, 2).isDue(0));
}

TEST(KeyframeCadenceTest, TwoSecondsAt60AreAtMost120Frames) {
    KeyframeCadence cadence(60, 2);
    EXPECT_EQ(framesUntilDue(cadence, 0, 1), 120);
}

TEST(KeyframeCadenceTest, OrTwoSecondsWhicheverComesFirst) {
    KeyframeCadence cadence(60, 2);
    EXPECT_EQ(framesUntilDue(cadence, 5 * kSecond, kSecond / 10), 20);
    EXPECT_FALSE(cadence.isDue(7 * kSecond - 1));
    EXPECT_TRUE(cadence.isDue(7 * kSecond));
    EXPECT_EQ(cadence.next(), 7 * kSecond);
}

TEST(KeyframeCadenceTest, NoIntervalMeansOnlyTheFirst) {
    KeyframeCadence cadence(30, 0);
    cadence.encoded(true, 0);
    EXPECT_FALSE(cadence.isDue(3600 * kSecond));
}

TEST(KeyframeCadenceTest, RestartAsksForOneAtOnce) {
    KeyframeCadence cadence(30, 2);
    cadence.encoded(true, 0);
    cadence.restart();
    EXPECT_TRUE(cadence.isDue(1));
}

TEST(KeyframeCadenceTest, LargeSettingsDoNotOverflow) {
    KeyframeCadence cadence(2'000'000'000, 2'000'000'000);
    cadence.encoded(true, 0);
    EXPECT_FALSE(cadence.isDue(3600 * kSecond));
}

bool isHighAfter(EncodeLoad& load, int frames, Duration took) {
    for (int i = 0; i < frames; ++i) load.encoded(took);
    return load.isHigh();
}

TEST(EncodeLoadTest, FramesThatTakeLongerThanTheirIntervalAreTooMany) {
    EncodeLoad load(16ms);
    EXPECT_FALSE(load.isHigh());
    EXPECT_TRUE(isHighAfter(load, 60, 18ms));
}

TEST(EncodeLoadTest, AKeyFrameNowAndThenIsNone) {
    EncodeLoad load(16ms);
    for (int second = 0; second < 10; ++second) {
        EXPECT_FALSE(isHighAfter(load, 59, 9ms));
        EXPECT_FALSE(isHighAfter(load, 1, 48ms));
    }
}

TEST(EncodeLoadTest, CheaperFramesAloneDoNotEndIt) {
    EncodeLoad load(16ms);
    EXPECT_TRUE(isHighAfter(load, 60, 17ms));
    EXPECT_TRUE(isHighAfter(load, 600, 14ms)) << "or it would go up and down";
    EXPECT_FALSE(isHighAfter(load, 60, 8ms));
}

TEST(ContentProbeTest, SeesChangeOnlyWhereItIsMarked) {
    auto picture = makeI420(64, 64);
    ChangeMap changes(64, 64);
    changes.markAll();
    ContentProbe probe(64, 64);
    probe.look(picture->planes[0], changes);
    changes.clear();
    drawNoise(*picture, {0, 0, 64, 64}, 1);
    EXPECT_EQ(probe.look(picture->planes[0], changes).change, 0);
    changes.mark({0, 0, 16, 16});
    const double one = probe.look(picture->planes[0], changes).change;
    changes.markAll();
    const double rest = probe.look(picture->planes[0], changes).change;
    EXPECT_GT(one, 10);
    EXPECT_GT(rest, 5 * one);
    EXPECT_EQ(probe.still().change, 0);
    EXPECT_EQ(probe.still().changedMacroblocks, 0);
    EXPECT_GT(probe.still().detail, rest / 2);
}

/// Waves with a little grain on them.
void drawFilm(Picture& picture, const PixelRect& where) {
    for (int y = where.y; y < where.y + where.height; ++y) {
        for (int x = where.x; x < where.x + where.width; ++x) {
            const double wave = 100 + 60 * std::sin(x / 9.0) * std::cos(y / 7.0);
            const Picture::Plane& luma = picture.planes[0];
            luma.data[y * luma.stride + x] = static_cast<uint8_t>(wave + (x * 7 + y * 13) % 5);
        }
    }
}

/// The probe's verdict on a picture of 128x128 in which only `changed` is looked at.
double sharpnessOf(const Picture& picture, const PixelRect& changed) {
    ChangeMap changes(128, 128);
    changes.mark(changed);
    return ContentProbe(128, 128).look(picture.planes[0], changes).sharpness;
}

TEST(ContentProbeTest, TellsTextFromFilmByItsEdges) {
    constexpr PixelRect kAll{0, 0, 128, 128};
    constexpr PixelRect kUpper{0, 0, 128, 64};
    constexpr PixelRect kLower{0, 64, 128, 64};
    auto picture = makeI420(128, 128);
    EXPECT_EQ(sharpnessOf(*picture, kAll), 0) << "nothing is neither";
    drawText(*picture, kAll, 1);
    EXPECT_GT(sharpnessOf(*picture, kAll), 0.9);
    drawFilm(*picture, kLower);
    EXPECT_EQ(sharpnessOf(*picture, kLower), 0);
    EXPECT_GT(sharpnessOf(*picture, kUpper), 0.9) << "only what has changed counts";
    EXPECT_NEAR(sharpnessOf(*picture, kAll), 0.5, 0.1);
}

TEST(ContentProbeTest, ReadsNothingBeyondSmallPictures) {
    for (const Size size : {Size{2, 2}, Size{18, 6}, Size{34, 20}}) {
        const auto picture = makeI420(size.width, size.height);
        ChangeMap changes(size.width, size.height);
        changes.markAll();
        ContentProbe probe(size.width, size.height);
        EXPECT_GT(probe.look(picture->planes[0], changes).detail, 0);
    }
}

TEST(SizeModelTest, LearnsLevelAndSlope) {
    SizeModel model(50, 13);
    const auto truth = [](int qp) { return 1000 * 200 * std::exp2(-qp / 8.0); };
    for (int i = 0; i < 12; ++i) {
        const int qp = 16 + i % 3 * 6;
        model.learn(1000, qp, truth(qp), SizeModel::Learn::levelAndSlope, 0.7);
    }
    EXPECT_NEAR(std::log2(model.bits(1000, 22) / truth(22)), 0, 0.3);
    EXPECT_NEAR(std::log2(model.bits(1000, 10) / truth(10)), 0, 0.6);
}

TEST(SizeModelTest, IgnoresFramesWithoutContent) {
    SizeModel model(50, 13);
    const double before = model.bits(1000, 20);
    model.learn(0, 20, 100'000, SizeModel::Learn::level, 1);
    model.learn(1000, 20, 100, SizeModel::Learn::level, 1);
    EXPECT_EQ(model.bits(1000, 20), before);
}

TEST(SentBitsTest, ForgetsAfterASecond) {
    SentBits sent(1000, 30);
    sent.advance(0);
    sent.add(800);
    EXPECT_FALSE(sent.allows({.now = 300, .pace = 30, .reservedAt = INT64_MAX}, 1));
    sent.advance(kSecond / 2);
    EXPECT_FALSE(sent.allows({.now = 300, .pace = 30, .reservedAt = INT64_MAX}, 1));
    sent.advance(kSecond + kSecond / 16);
    EXPECT_TRUE(sent.allows({.now = 1000, .pace = 30, .reservedAt = INT64_MAX}, 1));
    sent.advance(3600 * kSecond);
    EXPECT_TRUE(sent.allows({.now = 1000, .pace = 30, .reservedAt = INT64_MAX}, 1));
}

TEST(SentBitsTest, SteadyFramesFillASecond) {
    SentBits sent(30'000, 30);
    sent.advance(0);
    EXPECT_NEAR(sent.largestSteadyFrame({.pace = 30, .reservedAt = INT64_MAX}, 1), 1000, 1);
    EXPECT_NEAR(sent.largestSteadyFrame({.pace = 30, .reserved = 15'000, .reservedAt = kSecond / 2}, 1), 500,
                40);
}

/// A screen whose frames take `complexity` bits for each macroblock at quantiser 20, half with each
/// `steps` of it; key frames five times that.
struct Screen {
    double complexity = 40;
    double steps = 6;
    double bits(bool key, int qp, int macroblocks) const {
        return macroblocks * complexity * (key ? 5 : 1) * std::exp2((20 - qp) / steps);
    }
};

/// Runs full motion and gives the bits of each frame.
std::vector<double> runMotion(RateController& rate, const Screen& screen, int fps, int frames,
                              int macroblocks) {
    std::vector<double> result;
    for (int i = 0; i < frames; ++i) {
        const bool key = i % (2 * fps) == 0;
        const int64_t time = i * kSecond / fps;
        const RateController::Request request{
            .kind = key ? RateController::Kind::key : RateController::Kind::change,
            .time = time,
            .nextKey = (i / (2 * fps) + 1) * 2 * kSecond,
            .content = {.changedMacroblocks = macroblocks,
                        .change = 10.0 * macroblocks,
                        .detail = 8.0 * macroblocks}};
        const int qp = rate.choose(request);
        EXPECT_GE(qp, RateController::kFinestQp);
        EXPECT_LE(qp, RateController::kCoarsestQp);
        result.push_back(screen.bits(key, qp, macroblocks));
        rate.encoded(request, qp, result.back());
    }
    return result;
}

double worstSecond(const std::vector<double>& frames, int fps) {
    double worst = 0;
    for (size_t i = 0; i + fps <= frames.size(); ++i) {
        double sum = 0;
        for (size_t j = i; j < i + fps; ++j) sum += frames[j];
        worst = std::max(worst, sum);
    }
    return worst;
}

TEST(RateControllerTest, AnySecondOfMotionStaysWithinTheBitRate) {
    constexpr int kMacroblocks = 12288;
    for (const int fps : {30, 60}) {
        for (const double steps : {4.0, 6.0, 12.0}) {
            for (const double complexity : {10.0, 40.0, 60.0}) {
                RateController rate(18'000'000, fps, kMacroblocks);
                const auto frames = runMotion(rate, {complexity, steps}, fps, 8 * fps, kMacroblocks);
                const std::vector<double> settled(frames.begin() + fps, frames.end());
                EXPECT_LT(worstSecond(settled, fps), 18'000'000 * 1.1)
                    << fps << " " << steps << " " << complexity;
            }
        }
    }
}

TEST(RateControllerTest, MotionIsNeverStarved) {
    constexpr int kMacroblocks = 12288;
    RateController rate(18'000'000, 30, kMacroblocks);
    const auto frames = runMotion(rate, {}, 30, 240, kMacroblocks);
    EXPECT_GT(*std::min_element(frames.begin() + 60, frames.end()), 18'000'000 / 30.0 / 5);
}

TEST(RateControllerTest, TheStartOfAMotionLeavesBitsForItsSecond) {
    constexpr int kMacroblocks = 12288;
    RateController rate(18'000'000, 30, kMacroblocks);
    const auto frames = runMotion(rate, {}, 30, 60, kMacroblocks);
    EXPECT_GT(*std::min_element(frames.begin() + 1, frames.end()), 18'000'000 / 30.0 / 10);
}

/// Which pictures of a steady motion get a much finer quantiser than their neighbours, from frame 121 to 179.
std::vector<int> improvedPictures(bool isHurried) {
    constexpr int kMacroblocks = 12288;
    constexpr int kUsualQp = 14;
    RateController rate(18'000'000, 30, kMacroblocks);
    const PictureContent content{kMacroblocks, 10.0 * kMacroblocks, 8.0 * kMacroblocks};
    const auto at = [&](int frame) {
        const bool key = frame % 60 == 0;
        return RateController::Request{.kind = key ? RateController::Kind::key : RateController::Kind::change,
                                       .time = frame * kSecond / 30,
                                       .nextKey = (frame / 60 + 1) * 2 * kSecond,
                                       .content = content,
                                       .isHurried = isHurried};
    };
    for (int frame = 0; frame <= 120; ++frame) rate.encoded(at(frame), kUsualQp, frame % 60 ? 385'000 : 4e6);
    std::vector<int> improved;
    for (int frame = 121; frame < 180; ++frame) {
        const int qp = rate.choose(at(frame));
        EXPECT_LE(qp, kUsualQp + 1) << frame;
        const bool improves = qp < kUsualQp - 3;
        if (improves) improved.push_back(frame);
        rate.encoded(at(frame), improves ? qp : kUsualQp, improves ? 3'500'000 : 385'000);
    }
    return improved;
}

TEST(RateControllerTest, BitsLeftBetweenTwoKeyFramesImproveOnePicture) {
    EXPECT_EQ(improvedPictures(false), std::vector<int>{150});
}

TEST(RateControllerTest, WhoIsInAHurryImprovesNone) {
    EXPECT_EQ(improvedPictures(true), std::vector<int>{});
}

/// A landscape with grain that pans, under windows. What stands or only moves keeps its quality but for a
/// part that each picture uncovers; improving it costs a share of what a key frame would, and the deeper it
/// goes the larger the share is.
class PanningLandscape {
  public:
    double encode(bool key, int qp) {
        const double bits = key ? keyBits(qp) : changeBits(qp) + improvementBits(qp);
        reached_ = key || qp < reached_ ? qp : reached_ + 0.05 * (qp - reached_);
        return bits;
    }

  private:
    static double keyBits(int qp) { return 5.3e6 * std::exp2((13 - qp) / 8.0); }
    static double changeBits(int qp) { return 170e3 * std::exp2((16 - qp) / 4.5); }
    double improvementBits(int qp) const {
        const double depth = reached_ - qp;
        if (depth <= 0) return 0;
        const double share = depth < 3 ? 0.2 : depth < 7 ? 0.4 : 0.9;
        return share * keyBits(qp) * (1 - std::exp2(-depth / 8));
    }

    double reached_ = 51;
};

TEST(RateControllerTest, AnImprovementThatCostsMoreThanForeseenDoesNotStarveThoseAfterIt) {
    constexpr int kMacroblocks = 12288;
    constexpr int kFps = 60;
    RateController rate(18'000'000, kFps, kMacroblocks);
    PanningLandscape landscape;
    for (int i = 0; i < 12 * kFps; ++i) {
        const bool key = i % (2 * kFps) == 0;
        const RateController::Request request{
            .kind = key ? RateController::Kind::key : RateController::Kind::change,
            .time = i * kSecond / kFps,
            .nextKey = (i / (2 * kFps) + 1) * 2 * kSecond,
            .content = {kMacroblocks, 10.0 * kMacroblocks, 8.0 * kMacroblocks}};
        const int qp = rate.choose(request);
        EXPECT_LE(qp, i < kFps ? 51 : 28) << i;
        rate.encoded(request, qp, landscape.encode(key, qp));
    }
}

TEST(RateControllerTest, ASlowLinkBoundsSecondsAndKeyFrames) {
    constexpr int kMacroblocks = 12288;
    RateController rate(18'000'000, 30, kMacroblocks);
    rate.setLink(8'000'000);
    const auto frames = runMotion(rate, {}, 30, 240, kMacroblocks);
    const std::vector<double> settled(frames.begin() + 60, frames.end());
    EXPECT_LT(worstSecond(settled, 30), 8'000'000 * 1.1);
    EXPECT_LT(*std::max_element(settled.begin(), settled.end()), 8'000'000 / 6.0);
}

TEST(RateControllerTest, RestEndsAtTheFinestQuantiserInAFewSteps) {
    constexpr int kMacroblocks = 12288;
    RateController rate(18'000'000, 30, kMacroblocks);
    runMotion(rate, {}, 30, 50, kMacroblocks);
    int64_t time = 50 * kSecond / 30;
    int steps = 0;
    for (; steps < 100 && !rate.isRefined(); time += kSecond / 20) {
        RateController::Request request{
            .time = time, .nextKey = INT64_MAX, .content = {.detail = 8.0 * kMacroblocks}};
        if (!rate.canRefine(request)) continue;
        const int qp = rate.choose(request);
        rate.encoded(request, qp, 1'000'000);
        ++steps;
    }
    EXPECT_TRUE(rate.isRefined());
    EXPECT_GE(steps, 1);
    EXPECT_LE(steps, 8);
}

TEST(RateControllerTest, AKeyFrameDueAtRestDoesNotKeepAPictureCoarseOnASlowLink) {
    constexpr int kMacroblocks = 12288;
    constexpr double kLink = 1'000'000;
    const Screen screen;
    RateController rate(18'000'000, 30, kMacroblocks);
    rate.setLink(kLink);
    runMotion(rate, screen, 30, 50, kMacroblocks);
    int qp = RateController::kCoarsestQp;
    int64_t nextKey = 2 * kSecond;
    for (int64_t time = 49 * kSecond / 30; time < 60 * kSecond && !rate.isRefined(); time += kSecond / 2) {
        const bool key = time >= nextKey;
        const RateController::Request request{
            .kind = key ? RateController::Kind::key : RateController::Kind::change,
            .time = time,
            .nextKey = nextKey,
            .content = {.detail = 8.0 * kMacroblocks}};
        if (!rate.canRefine(request)) continue;
        const int finer = rate.choose(request);
        const double bits =
            screen.bits(true, finer, kMacroblocks) - (key ? 0 : screen.bits(true, qp, kMacroblocks));
        EXPECT_LT(bits, kLink);
        rate.encoded(request, finer, bits);
        qp = finer;
        if (key) nextKey = time + 2 * kSecond;
    }
    EXPECT_LE(qp, 30);
}

TEST(RateControllerTest, AnOverdueImprovementComesAlthoughItSeemsTooLarge) {
    constexpr int kMacroblocks = 12288;
    RateController rate(18'000'000, 30, kMacroblocks);
    rate.setLink(600'000);
    runMotion(rate, {.complexity = 60, .steps = 12}, 30, 50, kMacroblocks);
    RateController::Request request{.time = 50 * kSecond / 30,
                                    .nextKey = INT64_MAX,
                                    .content = {kMacroblocks, 20.0 * kMacroblocks, 8.0 * kMacroblocks}};
    rate.encoded(request, rate.choose(request), 20'000);
    request.content = {.detail = 8.0 * kMacroblocks};
    for (int i = 0; i < 200 && !rate.isRefined(); ++i) {
        request.time += 4 * kSecond;
        request.isOverdue = true;
        if (!rate.canRefine(request)) break;
        rate.encoded(request, rate.choose(request), 10'000);
    }
    EXPECT_TRUE(rate.isRefined());
}

TEST(RateControllerTest, NothingIsRefinedWhileTheScreenMoves) {
    constexpr int kMacroblocks = 12288;
    RateController rate(18'000'000, 30, kMacroblocks);
    runMotion(rate, {}, 30, 50, kMacroblocks);
    const int64_t last = 49 * kSecond / 30;
    EXPECT_FALSE(rate.canRefine(
        {.time = last + 10'000, .nextKey = INT64_MAX, .content = {.detail = 8.0 * kMacroblocks}}));
}

TEST(RateControllerTest, TypingOnARefinedScreenKeepsTheFinestQuantiser) {
    constexpr int kMacroblocks = 12288;
    RateController rate(18'000'000, 30, kMacroblocks);
    RateController::Request request{.kind = RateController::Kind::key,
                                    .nextKey = 2 * kSecond,
                                    .content = {kMacroblocks, 10.0 * kMacroblocks, 2.0 * kMacroblocks}};
    rate.encoded(request, RateController::kFinestQp, 5'000'000);
    for (int i = 1; i < 15; ++i) {
        request = {.time = i * kSecond / 10 + RateController::kRest,
                   .nextKey = 2 * kSecond,
                   .content = {2, 20, 2.0 * kMacroblocks}};
        const int qp = rate.choose(request);
        EXPECT_EQ(qp, RateController::kFinestQp);
        rate.encoded(request, qp, 4000);
    }
}

TEST(RateControllerTest, AbsurdSettingsStillGiveQuantisers) {
    for (const int bitrate : {-5, 0, 1, 2'000'000'000}) {
        for (const int fps : {-1, 0, 1, 1000}) {
            RateController rate(bitrate, fps, 1);
            for (int64_t i = 0; i < 20; ++i) {
                const RateController::Request request{
                    .kind = i == 0 ? RateController::Kind::key : RateController::Kind::change,
                    .time = i * 10'000,
                    .nextKey = INT64_MAX,
                    .content = {1, 1, 1}};
                const int qp = rate.choose(request);
                EXPECT_GE(qp, RateController::kFinestQp);
                EXPECT_LE(qp, RateController::kCoarsestQp);
                rate.encoded(request, qp, 1000);
            }
        }
    }
}

class LinkEstimateTest : public testing::Test {
  protected:
    /// Sends a frame that takes `taken`; the link is asked every 8 ms after the first interval.
    void send(double bits, Duration taken, std::optional<double> told = std::nullopt) {
        if (!link_.sent(now_, bits)) return;
        Instant asked = now_ + kInterval;
        for (; asked < now_ + taken; asked += 8ms) link_.sawBusy(asked);
        now_ = std::max(asked, now_ + taken);
        link_.sawFree(now_, told);
    }

    /// A link of 8 Mbit/s shows itself.
    void findSlow() {
        send(4'000'000, 500ms);
        send(4'000'000, 500ms);
    }

    static constexpr Duration kInterval = 33ms;
    LinkEstimate link_{kInterval};
    Instant now_{};
};

TEST_F(LinkEstimateTest, ALinkThatIsAlwaysFreeIsUnlimited) {
    for (int i = 0; i < 50; ++i) send(600'000, 20ms);
    EXPECT_TRUE(std::isinf(link_.bitsPerSecond()));
}

TEST_F(LinkEstimateTest, ABusyLinkTellsItsSpeed) {
    findSlow();
    EXPECT_NEAR(link_.bitsPerSecond(), 8'000'000, 200'000);
}

TEST_F(LinkEstimateTest, FollowsALinkThatGetsFaster) {
    findSlow();
    for (int i = 0; i < 60; ++i) send(link_.bitsPerSecond() / 30, 1ms);
    EXPECT_GT(link_.bitsPerSecond(), 18'000'000);
}

TEST_F(LinkEstimateTest, ADeviceThatWasBusyOnceIsNoSlowLink) {
    for (int i = 0; i < 5; ++i) {
        send(600'000, 100ms);
        send(600'000, 5ms);
    }
    EXPECT_TRUE(std::isinf(link_.bitsPerSecond()));
}

TEST_F(LinkEstimateTest, AFrameSwallowedByAQueueIsNoSpeed) {
    findSlow();
    for (int i = 0; i < 5; ++i) send(400'000, 1ms);
    EXPECT_LT(link_.bitsPerSecond(), 10'000'000);
}

TEST_F(LinkEstimateTest, ALinkThatTellsIsNotThoughtFasterForWhatItHasLeftToSend) {
    for (int i = 0; i < 10; ++i) send(600'000, 50ms, 8'000'000);
    EXPECT_NEAR(link_.bitsPerSecond(), 8'000'000, 200'000);
}

TEST_F(LinkEstimateTest, WhatALinkTellsIsNoLimitWhileItKeepsUp) {
    for (int i = 0; i < 50; ++i) send(600'000, 20ms, 1'000'000);
    EXPECT_TRUE(std::isinf(link_.bitsPerSecond())) << "hardly used, a link tells too little";
}

TEST_F(LinkEstimateTest, SmallFramesTellNothing) {
    findSlow();
    const double before = link_.bitsPerSecond();
    for (int i = 0; i < 60; ++i) send(1000, 100ms);
    EXPECT_EQ(link_.bitsPerSecond(), before);
}

TEST_F(LinkEstimateTest, AStallIsNotASpeed) {
    send(100'000, 60s);
    send(100'000, 60s);
    EXPECT_GE(link_.bitsPerSecond(), 500'000);
}

}  // namespace
}  // namespace quillon
