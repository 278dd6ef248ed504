#include "media/h264_encoder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace quillon {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

/// A session that encodes nothing by itself: the test speaks for it.
class ScriptedSession : public VideoEncoder {
  public:
    struct Log {
        EncoderSettings settings;
        EncoderCallbacks callbacks;
        std::vector<uint64_t> submitted;
        int invalidations = 0;
        std::function<void()> duringFlush;
        bool accepts = true;
    };

    explicit ScriptedSession(Log& log) : log_(log) {}
    bool acceptsPicture() const override { return log_.accepts; }
    void encode(PicturePtr, uint64_t pts) override { log_.submitted.push_back(pts); }
    void invalidate() override {
        if (log_.invalidations++ == 0 && log_.duringFlush) log_.duringFlush();
    }

  private:
    Log& log_;
};

const Bytes kSps{0x67, 0x4D, 0x00, 0x28};
const Bytes kPps{0x68, 0xEE};
const Bytes kFrame{0, 0, 0, 2, 0x65, 0x11};

class H264EncoderTest : public testing::Test {
  protected:
    H264Encoder::Factory factory() {
        return [this](const EncoderSettings& settings, EncoderCallbacks callbacks) {
            log_.settings = settings;
            log_.callbacks = std::move(callbacks);
            return std::make_unique<ScriptedSession>(log_);
        };
    }

    std::unique_ptr<H264Encoder> makeEncoder() {
        auto encoder = std::make_unique<H264Encoder>(factory(), 640, 480, 60, 18'000'000, 2);
        encoder->onConfig = [this](ByteView record) { configs_.emplace_back(record.begin(), record.end()); };
        encoder->onFrame = [this](ByteView bytes, uint64_t pts) {
            frames_.emplace_back(bytes.begin(), bytes.end());
            times_.push_back(pts);
        };
        return encoder;
    }

    static EncodedSample sample(int64_t time = 0) {
        return {.sps = kSps, .pps = kPps, .data = kFrame, .presentationMicroseconds = time};
    }
    void deliver(const EncodedSample& sample) { log_.callbacks.onSample(sample); }

    ScriptedSession::Log log_;
    std::vector<Bytes> configs_;
    std::vector<Bytes> frames_;
    std::vector<uint64_t> times_;
};

TEST_F(H264EncoderTest, AsksForTheConfiguredStream) {
    const auto encoder = makeEncoder();
    EXPECT_EQ(log_.settings.width, 640);
    EXPECT_EQ(log_.settings.height, 480);
    EXPECT_EQ(log_.settings.fps, 60);
    EXPECT_EQ(log_.settings.bitrate, 18'000'000);
    EXPECT_EQ(log_.settings.keyframeSeconds, 2);
    EXPECT_EQ(encoder->width(), 640);
    EXPECT_EQ(encoder->height(), 480);
    EXPECT_EQ(encoder->fps(), 60);
}

TEST_F(H264EncoderTest, CreationFailureCarriesDomainStatusAndDescription) {
    const auto failing = [](const EncoderSettings&, EncoderCallbacks) -> std::unique_ptr<VideoEncoder> {
        throw EncoderFailure(-12902, "VTCompressionSessionCreate failed: -12902");
    };
    try {
        const H264Encoder encoder(failing, 640, 480, 60, 18'000'000, 2);
        FAIL() << "no failure";
    } catch (const EncoderFailure& failure) {
        EXPECT_EQ(failure.status(), -12902);
        EXPECT_STREQ(failure.what(), "VTCompressionSessionCreate failed: -12902");
        EXPECT_STREQ(EncoderFailure::domain, "H264Encoder");
    }
}

TEST_F(H264EncoderTest, RecordHoldsBothSetsAfterTheirLengths) {
    const auto encoder = makeEncoder();
    deliver(sample());
    EXPECT_THAT(configs_, ElementsAre(ElementsAre(0, 0, 0, 4, 0x67, 0x4D, 0x00, 0x28,  //
                                                  0, 0, 0, 2, 0x68, 0xEE)));
}

TEST_F(H264EncoderTest, FrameBytesPassUnchanged) {
    const auto encoder = makeEncoder();
    deliver(sample(1'234'567));
    EXPECT_THAT(frames_, ElementsAre(ElementsAreArray(kFrame)));
    EXPECT_THAT(times_, ElementsAre(1'234'567));
}

TEST_F(H264EncoderTest, EqualRecordIsDeliveredOnce) {
    const auto encoder = makeEncoder();
    deliver(sample(0));
    deliver(sample(1));
    EXPECT_EQ(configs_.size(), 1u);
    EXPECT_EQ(frames_.size(), 2u);
}

TEST_F(H264EncoderTest, ChangedRecordIsDeliveredAgainBeforeItsFrame) {
    const auto encoder = makeEncoder();
    std::vector<std::string> order;
    encoder->onConfig = [&](ByteView) { order.emplace_back("config"); };
    encoder->onFrame = [&](ByteView, uint64_t) { order.emplace_back("frame"); };
    deliver(sample());
    EncodedSample other = sample();
    const Bytes otherPps{0x68, 0xCE};
    other.pps = otherPps;
    deliver(other);
    deliver(sample());
    EXPECT_THAT(order, ElementsAre("config", "frame", "config", "frame", "config", "frame"));
}

TEST_F(H264EncoderTest, NewEncoderDeliversTheRecordAgain) {
    {
        const auto encoder = makeEncoder();
        deliver(sample());
    }
    log_.invalidations = 0;
    const auto encoder = makeEncoder();
    deliver(sample());
    EXPECT_EQ(configs_.size(), 2u);
}

TEST_F(H264EncoderTest, FrameWithoutBothSetsComesWithoutRecord) {
    const auto encoder = makeEncoder();
    EncodedSample bare = sample();
    bare.pps = {};
    deliver(bare);
    bare = sample();
    bare.sps = {};
    deliver(bare);
    EXPECT_TRUE(configs_.empty());
    EXPECT_EQ(frames_.size(), 2u);
}

TEST_F(H264EncoderTest, FailedSkippedAndEmptySamplesAreLeftOut) {
    const auto encoder = makeEncoder();
    EncodedSample failed = sample();
    failed.status = -12903;
    deliver(failed);
    EncodedSample dropped = sample();
    dropped.dropped = true;
    deliver(dropped);
    EncodedSample empty = sample();
    empty.data = {};
    deliver(empty);
    EXPECT_TRUE(frames_.empty());
    deliver(sample());
    EXPECT_EQ(configs_.size(), 1u);
    EXPECT_EQ(frames_.size(), 1u);
}

TEST_F(H264EncoderTest, AnEmptySampleDeliversItsParameterSets) {
    const auto encoder = makeEncoder();
    EncodedSample empty = sample();
    empty.data = {};
    deliver(empty);
    EXPECT_EQ(configs_.size(), 1u);
    EXPECT_TRUE(frames_.empty());
    deliver(sample());
    EXPECT_EQ(configs_.size(), 1u) << "the same sets again";
    EXPECT_EQ(frames_.size(), 1u);
}

TEST_F(H264EncoderTest, NegativeTimeBecomesZero) {
    const auto encoder = makeEncoder();
    deliver(sample(-1));
    deliver(sample(std::numeric_limits<int64_t>::min()));
    EXPECT_THAT(times_, ElementsAre(0, 0));
}

TEST_F(H264EncoderTest, PicturesReachTheSessionWithTheirTimes) {
    const auto encoder = makeEncoder();
    encoder->encode(std::make_shared<Picture>(), 5);
    encoder->encode(std::make_shared<Picture>(), 6);
    EXPECT_THAT(log_.submitted, ElementsAre(5, 6));
}

TEST_F(H264EncoderTest, OutputOfTheFlushIsDelivered) {
    const auto encoder = makeEncoder();
    log_.duringFlush = [this] { deliver(sample(7)); };
    encoder->invalidate();
    EXPECT_THAT(times_, ElementsAre(7));
}

TEST_F(H264EncoderTest, DestructionInvalidates) {
    makeEncoder();
    EXPECT_GE(log_.invalidations, 1);
}

TEST_F(H264EncoderTest, QuestionsReachTheOwner) {
    const auto encoder = makeEncoder();
    EXPECT_TRUE(log_.callbacks.ready());
    EXPECT_EQ(log_.callbacks.linkSpeed(), std::nullopt);
    log_.callbacks.pictureWanted();  // nobody asked to know

    int wanted = 0;
    encoder->ready = [] { return false; };
    encoder->linkSpeed = [] { return 8'000'000.0; };
    encoder->pictureWanted = [&] { ++wanted; };
    EXPECT_FALSE(log_.callbacks.ready());
    EXPECT_EQ(log_.callbacks.linkSpeed(), 8'000'000);
    log_.callbacks.pictureWanted();
    EXPECT_EQ(wanted, 1);

    EXPECT_TRUE(encoder->acceptsPicture());
    log_.accepts = false;
    EXPECT_FALSE(encoder->acceptsPicture());
}

TEST_F(H264EncoderTest, SamplesWithoutListenersAreHarmless) {
    const H264Encoder encoder(factory(), 640, 480, 60, 18'000'000, 2);
    deliver(sample());
}

}  // namespace
}  // namespace quillon
