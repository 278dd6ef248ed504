#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <regex>

#include "platform/platform.hpp"
#include "platform/simulated/platform.hpp"

// The same promises hold for the services of the real platform and of the simulated one, also on a machine
// without a display and without the user's permission.

namespace quillon {
namespace {

struct RealPlatform {
    static std::unique_ptr<Platform> make() { return makePlatform(); }
};

struct SimulatedPlatform {
    static std::unique_ptr<Platform> make() { return std::make_unique<simulated::SimulatedPlatform>(); }
};

template <typename Kind>
class ServicesTest : public testing::Test {
  protected:
    const std::unique_ptr<Platform> platform = Kind::make();
    Displays& displays = platform->displays();
    PatternCanvases& canvases = platform->patternCanvases();
};

using Platforms = testing::Types<RealPlatform, SimulatedPlatform>;
TYPED_TEST_SUITE(ServicesTest, Platforms);

constexpr DisplayID kNoDisplay = 0xFFFFFFF0;

TYPED_TEST(ServicesTest, TheMainDisplayIsAnActiveOneUnlessThereIsNone) {
    const auto active = this->displays.active();
    const DisplayID main = this->displays.main();
    EXPECT_EQ(std::ranges::count(active, main), active.empty() ? 0 : 1);
}

TYPED_TEST(ServicesTest, EveryActiveDisplayHasAPlace) {
    for (const DisplayID display : this->displays.active()) {
        EXPECT_GT(this->displays.bounds(display).width, 0);
        EXPECT_GT(this->displays.bounds(display).height, 0);
    }
}

TYPED_TEST(ServicesTest, ADisplayThatIsGoneAnswersWithNothing) {
    EXPECT_EQ(this->displays.bounds(kNoDisplay).width, 0);
    EXPECT_TRUE(this->displays.modes(kNoDisplay).empty());
    EXPECT_EQ(this->displays.currentMode(kNoDisplay), std::nullopt);
    EXPECT_FALSE(this->displays.setMode(kNoDisplay, {640, 480, 640, 480}));
    EXPECT_FALSE(this->displays.mirroring(kNoDisplay).inMirrorSet);
}

TYPED_TEST(ServicesTest, NobodyDrawsOnAnEmptyCanvas) {
    EXPECT_EQ(this->canvases.make(0, 10), nullptr);
    EXPECT_EQ(this->canvases.make(10, 0), nullptr);
}

TYPED_TEST(ServicesTest, ACanvasBecomesAPictureOfItsSize) {
    auto canvas = this->canvases.make(64, 48);
    ASSERT_NE(canvas, nullptr);
    canvas->fillRectangle(0, 0, 64, 48, {0, 0, 0});
    canvas->drawText("12:34", 4, 4, 12, PatternCanvas::Weight::bold, {1, 1, 1});
    const PicturePtr picture = canvas->finish();
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->width, 64);
    EXPECT_EQ(picture->height, 48);
    EXPECT_EQ(picture->sequence, 0U) << "a source that keeps no account of its pictures";
}

TYPED_TEST(ServicesTest, TheWallClockShowsMilliseconds) {
    EXPECT_TRUE(
        std::regex_match(this->canvases.wallClock(), std::regex("[0-2]\\d:[0-5]\\d:[0-5]\\d\\.\\d{3}")));
}

TYPED_TEST(ServicesTest, AVirtualDisplayHasAnIdentifierOrDoesNotComeAbout) {
    VirtualDisplayRequest request;
    request.name = "Conformance";
    request.modes = {{1024, 768}};
    request.maxPixels = {2048, 1536};
    const auto display = this->platform->virtualDisplays().create(request);
    EXPECT_TRUE(display == nullptr || display->id() != 0);
}

/// What the real encoder gives for pictures of the real canvas, whatever format the two agree on.
class RealEncoderTest : public testing::Test {
  protected:
    static constexpr EncoderSettings kSettings{64, 48, 30, 1'000'000, 2};

    EncoderCallbacks callbacks() {
        return {.onSample =
                    [this](const EncodedSample& sample) {
                        if (sample.status != 0 || sample.dropped) return;
                        sps = {sample.sps.begin(), sample.sps.end()};
                        pps = {sample.pps.begin(), sample.pps.end()};
                        data = {sample.data.begin(), sample.data.end()};
                        time = sample.presentationMicroseconds;
                        delivered->signal();
                    },
                .ready = [this] { return isReady; },
                .pictureWanted = [this] { wanted->signal(); }};
    }
    PicturePtr picture() const {
        auto canvas = platform->patternCanvases().make(kSettings.width, kSettings.height);
        canvas->fillRectangle(0, 0, kSettings.width, kSettings.height, {0.2, 0.4, 0.6});
        return canvas->finish();
    }

    const std::unique_ptr<Platform> platform = makePlatform();
    const std::shared_ptr<Semaphore> delivered = platform->threads().makeSemaphore();
    const std::shared_ptr<Semaphore> wanted = platform->threads().makeSemaphore();
    bool isReady = true;
    Bytes sps;
    Bytes pps;
    Bytes data;
    int64_t time = 0;
};

TEST_F(RealEncoderTest, TheFirstPictureComesWithItsParameterSetsAndItsTime) {
    const auto encoder = platform->makeEncoder(kSettings, callbacks());
    EXPECT_TRUE(encoder->acceptsPicture());
    encoder->encode(picture(), 1'500'000);
    ASSERT_TRUE(delivered->wait(20s));
    encoder->invalidate();
    EXPECT_FALSE(sps.empty());
    EXPECT_FALSE(pps.empty());
    ASSERT_GT(data.size(), 4U);
    EXPECT_LE(loadBigEndian32(data.data()), data.size() - 4) << "a length stands before each unit";
    EXPECT_GE(time, 1'499'999) << "a platform may count in seconds and lose the last microsecond";
}

TEST_F(RealEncoderTest, APictureThatMayNotBeEncodedIsAskedForAgain) {
    isReady = false;
    const auto encoder = platform->makeEncoder(kSettings, callbacks());
    encoder->encode(picture(), 1000);
    EXPECT_TRUE(wanted->wait(20s));
    encoder->invalidate();
    EXPECT_TRUE(data.empty());
}

TEST_F(RealEncoderTest, NothingHappensAfterInvalidation) {
    const auto encoder = platform->makeEncoder(kSettings, callbacks());
    encoder->invalidate();
    EXPECT_FALSE(encoder->acceptsPicture());
    encoder->encode(picture(), 1000);
    encoder->invalidate();
    EXPECT_TRUE(data.empty());
}

}  // namespace
}  // namespace quillon
