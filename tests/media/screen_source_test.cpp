#include "media/screen_source.hpp"

#include <gmock/gmock.h>

#include "platform/simulated/desktop.hpp"
#include "platform/simulated/machine.hpp"
#include "platform/simulated/run_loop.hpp"
#include "platform/simulated/threads.hpp"
#include "tests/support/own_home.hpp"

namespace quillon {
namespace {

using simulated::Machine;
using simulated::SimulatedDisplays;
using simulated::SimulatedRunLoop;
using simulated::SimulatedThreads;
using testing::ElementsAre;

/// Capture in the hands of the test: it lists what it is told and delivers when told.
class FakeCapture : public Capture {
  public:
    explicit FakeCapture(Machine& machine) : machine_(machine) {}

    std::vector<Display> displays{{7, {1920, 1080}}};
    int queries = 0;
    int appearsAtQuery = 1;  ///< before that the list is empty
    bool listingFails = false;
    bool startFails = false;
    Duration startTakes = 10ms;
    Duration stopTakes = 10ms;

    std::optional<CaptureRequest> request;
    std::optional<CaptureCallbacks> callbacks;
    int running = 0;
    int requested = 0;

    std::vector<Display> shareableDisplays() override {
        ++queries;
        if (listingFails) throw CaptureFailure("screen recording is not allowed");
        return queries >= appearsAtQuery ? displays : std::vector<Display>{};
    }

    std::unique_ptr<CaptureStream> start(const CaptureRequest& asked, CaptureCallbacks given) override {
        pause(startTakes);
        if (startFails) throw CaptureFailure("no stream today");
        request = asked;
        callbacks = std::move(given);
        return std::make_unique<Stream>(*this);
    }

    void deliver(int width = 640) {
        auto picture = std::make_shared<Picture>();
        picture->width = width;
        picture->height = 480;
        callbacks->onPicture(std::move(picture));
    }

  private:
    class Stream : public CaptureStream {
      public:
        explicit Stream(FakeCapture& owner) : owner_(owner) { ++owner_.running; }
        ~Stream() override { stop(); }
        Stream(const Stream&) = delete;
        Stream& operator=(const Stream&) = delete;
        void stop() override {
            if (std::exchange(stopped_, true)) return;
            owner_.pause(owner_.stopTakes);
            --owner_.running;
        }
        void requestPicture() override { ++owner_.requested; }

      private:
        FakeCapture& owner_;
        bool stopped_ = false;
    };

    void pause(Duration duration) {
        Machine::WaitPoint never;
        machine_.wait(never, machine_.now() + duration);
    }

    Machine& machine_;
};

struct Emission {
    int width;
    uint64_t microseconds;
    bool operator==(const Emission&) const = default;
};

class ScreenSourceTest : public testing::Test, protected test::OwnHome {
  protected:
    ScreenSourceTest() {
        displays.all[0].id = 7;
        source->onFrame = [this](const PicturePtr& picture, uint64_t microseconds) {
            emissions.push_back({picture->width, microseconds});
        };
        source->onEnd = [this](std::string reason) { end = std::move(reason); };
    }
    ~ScreenSourceTest() override {
        scope.reset();
        source.reset();
        machine.settle();
        EXPECT_EQ(capture.running, 0) << "a stream was left running";
    }

    ScreenSource::StartRequest request() const {
        ScreenSource::StartRequest request;
        request.displayID = 7;
        request.width = 1024;
        request.height = 768;
        request.timeBase = loop.now();
        return request;
    }

    Task<> starting(ScreenSource::StartRequest asked) {
        try {
            co_await ScreenSource::start(source, asked);
            started = true;
        } catch (const ScreenSource::CaptureError& error) {
            captureError = error.what();
        } catch (const CaptureFailure& failure) {
            captureFailure = failure.what();
        }
        finishedAt = loop.now();
    }
    Task<> stopping() {
        co_await ScreenSource::stop(source);
        stopped = true;
    }
    void begin(ScreenSource::StartRequest asked) {
        begunAt = loop.now();
        scope->start(starting(asked));
    }
    void start(ScreenSource::StartRequest asked) {
        begin(asked);
        ASSERT_TRUE(loop.runUntil([this] { return finishedAt.has_value(); }, 20s));
    }
    void stop() {
        scope->start(stopping());
        ASSERT_TRUE(loop.runUntil([this] { return stopped; }, 1s));
    }

    Machine machine;
    SimulatedRunLoop loop{machine};
    SimulatedThreads threads{machine};
    FakeCapture capture{machine};
    SimulatedDisplays displays{machine};
    std::shared_ptr<ScreenSource> source = ScreenSource::make(loop, threads, capture, displays);
    std::optional<TaskScope> scope{std::in_place};

    bool started = false;
    bool stopped = false;
    std::string captureError;
    std::string captureFailure;
    std::string end;
    Instant begunAt;
    std::optional<Instant> finishedAt;
    std::vector<Emission> emissions;
};

TEST_F(ScreenSourceTest, StartsTheDisplayWithThatIdentifier) {
    capture.displays = {{3, {800, 600}}, {7, {1920, 1080}}};
    auto asked = request();
    asked.displayIndex = 0;
    asked.fps = 45;
    asked.showCursor = true;
    testing::internal::CaptureStdout();
    start(asked);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[capture] display 7 1920x1080 → 1024x768@45\n");
    EXPECT_TRUE(started);
    EXPECT_EQ(capture.request->display, 7u);
    EXPECT_EQ(capture.request->output, (Size{1024, 768}));
    EXPECT_EQ(capture.request->fps, 45);
    EXPECT_TRUE(capture.request->showsCursor);
    EXPECT_TRUE(capture.request->preservesAspectRatio);
    EXPECT_FALSE(capture.request->sourceRect);
}

TEST_F(ScreenSourceTest, WithoutAnIdentifierTheIndexCounts) {
    capture.displays = {{3, {800, 600}}, {7, {1920, 1080}}};
    auto asked = request();
    asked.displayID.reset();
    asked.displayIndex = 1;
    start(asked);
    EXPECT_EQ(capture.request->display, 7u);
}

TEST_F(ScreenSourceTest, WaitsForADisplayThatAppearsLate) {
    capture.appearsAtQuery = 24;
    start(request());
    EXPECT_TRUE(started);
    EXPECT_EQ(capture.queries, 24);
    EXPECT_EQ(*finishedAt - begunAt, 23 * 250ms + capture.startTakes);
}

TEST_F(ScreenSourceTest, ADisplayThatIsNeverListedFailsAfterSixSeconds) {
    capture.displays = {{3, {800, 600}}};
    start(request());
    EXPECT_EQ(captureError, "displayID 7 not found, 1 display(s) visible");
    EXPECT_EQ(capture.queries, 24);
    EXPECT_EQ(*finishedAt - begunAt, 6s);
}

TEST_F(ScreenSourceTest, AnIndexOutsideTheListFails) {
    for (const int index : {-1, 1}) {
        finishedAt.reset();
        auto asked = request();
        asked.displayID.reset();
        asked.displayIndex = index;
        start(asked);
        EXPECT_EQ(captureError, "index " + std::to_string(index) + " not found, 1 display(s) visible");
    }
}

TEST_F(ScreenSourceTest, ARefusedListingIsThrownAsItIs) {
    capture.listingFails = true;
    start(request());
    EXPECT_EQ(captureFailure, "screen recording is not allowed");
    EXPECT_EQ(capture.queries, 1);
}

TEST_F(ScreenSourceTest, ARefusedStartIsThrownAsItIs) {
    capture.startFails = true;
    start(request());
    EXPECT_EQ(captureFailure, "no stream today");
    stop();
}

TEST_F(ScreenSourceTest, AFrameRateBelowOneIsOne) {
    for (const int fps : {0, -30}) {
        finishedAt.reset();
        source = ScreenSource::make(loop, threads, capture, displays);
        auto asked = request();
        asked.fps = fps;
        start(asked);
        EXPECT_EQ(capture.request->fps, 1);
    }
}

TEST_F(ScreenSourceTest, StretchGivesUpTheShape) {
    auto asked = request();
    asked.scaling = Scaling::stretch;
    start(asked);
    EXPECT_FALSE(capture.request->preservesAspectRatio);
    EXPECT_FALSE(capture.request->sourceRect);
}

TEST_F(ScreenSourceTest, FillCropsAndSaysSo) {
    displays.all[0].bounds = {-1920, 100, 1920, 1080};
    auto asked = request();
    asked.scaling = Scaling::fill;
    start(asked);
    EXPECT_EQ(capture.request->sourceRect, (PixelRect{240, 0, 1440, 1080}));
    EXPECT_EQ(logged("fill: cropping 1440x1080 at 240,0 of 1920x1080"), 1);
}

TEST_F(ScreenSourceTest, FillOfTheSameShapeIsFit) {
    displays.all[0].bounds = {0, 0, 1000, 750};
    auto asked = request();
    asked.scaling = Scaling::fill;
    start(asked);
    EXPECT_FALSE(capture.request->sourceRect);
    EXPECT_TRUE(capture.request->preservesAspectRatio);
    EXPECT_EQ(loggedBeginning("fill:"), 0);
}

TEST_F(ScreenSourceTest, UnpacedFramesPassAtOnceWithTheirTime) {
    auto asked = request();
    asked.timeBase = loop.now() - 2s;
    start(asked);
    loop.runFor(1500us);
    const auto expected = sessionMicroseconds(asked.timeBase, loop.now());
    capture.deliver(1);
    EXPECT_THAT(emissions, ElementsAre(Emission{1, expected}));
    EXPECT_EQ(source->frameCount(), 1);
    EXPECT_EQ(source->emitted(), 0);
    EXPECT_EQ(source->dropped(), 0);
}

TEST_F(ScreenSourceTest, PacingKeepsTheNewestFrameForTheTick) {
    auto asked = request();
    asked.pace = true;
    asked.fps = 10;
    start(asked);
    loop.runFor(10ms);
    capture.deliver(1);
    capture.deliver(2);
    const auto captured = sessionMicroseconds(asked.timeBase, loop.now());
    capture.deliver(3);
    EXPECT_TRUE(emissions.empty());
    loop.runFor(100ms);
    EXPECT_THAT(emissions, ElementsAre(Emission{3, captured})) << "the time of its capture, not of the tick";
    EXPECT_EQ(source->dropped(), 2);
    EXPECT_EQ(source->emitted(), 1);
    EXPECT_EQ(source->frameCount(), 3);
    loop.runFor(100ms);
    EXPECT_EQ(emissions.size(), 1u) << "a tick without a new frame repeats nothing";
}

TEST_F(ScreenSourceTest, PacingWithoutAFrameRateTicksOnceASecond) {
    for (const int fps : {0, -5}) {
        emissions.clear();
        finishedAt.reset();
        source = ScreenSource::make(loop, threads, capture, displays);
        source->onFrame = [this](const PicturePtr& picture, uint64_t at) {
            emissions.push_back({picture->width, at});
        };
        auto asked = request();
        asked.pace = true;
        asked.fps = fps;
        start(asked);
        capture.deliver(1);
        loop.runFor(980ms);
        EXPECT_TRUE(emissions.empty());
        loop.runFor(30ms);
        EXPECT_EQ(emissions.size(), 1u);
    }
}

TEST_F(ScreenSourceTest, PacingLogsEvery150Frames) {
    auto asked = request();
    asked.pace = true;
    start(asked);
    for (int i = 0; i < 300; ++i) {
        capture.deliver();
        if (i < 5) capture.deliver();
        loop.runUntil([&] { return source->emitted() == i + 1; }, 1s);
    }
    EXPECT_EQ(logged("pacing: emitted=150 dropped=5"), 1);
    EXPECT_EQ(logged("pacing: emitted=300 dropped=5"), 1);
}

TEST_F(ScreenSourceTest, PrintsTheFrameCountEveryFiveSeconds) {
    start(request());
    testing::internal::CaptureStdout();
    capture.deliver();
    loop.runFor(4900ms);
    capture.deliver();
    loop.runFor(200ms);
    capture.deliver();
    capture.deliver();
    loop.runFor(5s);
    capture.deliver(800);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[capture] 3 frames captured, buffer 640x480\n[capture] 5 frames captured, buffer 800x480\n");
}

TEST_F(ScreenSourceTest, AsksItsOwnerWhetherItIsReady) {
    start(request());
    EXPECT_TRUE(capture.callbacks->ready()) << "without an owner's answer it always is";
    finishedAt.reset();
    source = ScreenSource::make(loop, threads, capture, displays);
    bool ready = false;
    source->ready = [&] { return ready; };
    start(request());
    EXPECT_FALSE(capture.callbacks->ready());
    ready = true;
    EXPECT_TRUE(capture.callbacks->ready());
}

TEST_F(ScreenSourceTest, PassesRequestsForAPictureOn) {
    source->requestPicture();
    start(request());
    source->requestPicture();
    EXPECT_EQ(capture.requested, 1);
    stop();
    source->requestPicture();
    EXPECT_EQ(capture.requested, 1);
}

TEST_F(ScreenSourceTest, TellsItsEndOnTheMainThread) {
    start(request());
    capture.callbacks->onEnd("the display is gone");
    EXPECT_EQ(end, "");
    loop.runFor(1ms);
    EXPECT_EQ(end, "the display is gone");
}

TEST_F(ScreenSourceTest, AnEndAfterStopOrDestructionIsNotTold) {
    start(request());
    capture.callbacks->onEnd("late");
    stop();
    EXPECT_EQ(end, "");
    finishedAt.reset();
    source = ScreenSource::make(loop, threads, capture, displays);
    source->onEnd = [this](std::string reason) { end = std::move(reason); };
    start(request());
    capture.callbacks->onEnd("late");
    source.reset();
    loop.runFor(1ms);
    EXPECT_EQ(end, "");
}

TEST_F(ScreenSourceTest, StopEndsTheStreamAndThePacing) {
    auto asked = request();
    asked.pace = true;
    start(asked);
    capture.deliver();
    stop();
    EXPECT_EQ(capture.running, 0);
    loop.runFor(1s);
    EXPECT_TRUE(emissions.empty());
    stopped = false;
    stop();
}

TEST_F(ScreenSourceTest, StopWithoutStartIsNothing) {
    stop();
}

TEST_F(ScreenSourceTest, AStartGivenUpHalfWayLeavesNothing) {
    // The fixture checks that no stream is left, whatever the moment was.
    for (const Duration moment : {0ms, 1ms, 5ms, 250ms, 255ms, 9ms}) {
        capture.queries = 0;
        capture.appearsAtQuery = moment >= 250ms ? 2 : 1;
        finishedAt.reset();
        source = ScreenSource::make(loop, threads, capture, displays);
        begin(request());
        loop.runFor(moment);
        scope.reset();
        loop.runFor(100ms);
        EXPECT_EQ(capture.running, 0) << toMilliseconds(moment) << " ms";
        scope.emplace();
    }
}

TEST_F(ScreenSourceTest, AStartThatIsOvertakenByStopLeavesNothing) {
    capture.startTakes = 500ms;
    begin(request());
    loop.runFor(100ms);
    stop();
    loop.runFor(1s);
    EXPECT_EQ(capture.running, 0);
}

TEST_F(ScreenSourceTest, AStartThatIsOvertakenByStopLooksForItsDisplayNoLonger) {
    capture.appearsAtQuery = 24;
    begin(request());
    loop.runFor(1s);
    stop();
    const int queries = capture.queries;
    loop.runFor(6s);
    EXPECT_LE(capture.queries, queries + 1);
    EXPECT_TRUE(finishedAt);
    EXPECT_FALSE(capture.request);
}

TEST_F(ScreenSourceTest, AStopGivenUpHalfWayStillEndsTheStream) {
    capture.stopTakes = 500ms;
    start(request());
    scope->start(stopping());
    loop.runFor(100ms);
    scope.reset();
    source.reset();
    loop.runFor(1s);
    EXPECT_EQ(capture.running, 0);
}

struct FillCase {
    Rect bounds;
    Size output;
    std::optional<PixelRect> crop;
};

TEST(FillCrop, CutsTheCentreInTheOutputsShape) {
    const FillCase cases[] = {
        {{0, 0, 1920, 1080}, {2048, 1536}, PixelRect{240, 0, 1440, 1080}},
        {{1920, -300, 1920, 1080}, {2048, 1536}, PixelRect{240, 0, 1440, 1080}},
        {{0, 0, 1600, 1200}, {1920, 1080}, PixelRect{0, 150, 1600, 900}},
        {{0, 0, 1000, 1000}, {300, 200}, PixelRect{0, 167, 1000, 666}},
        {{0, 0, 1366, 768}, {2048, 1536}, PixelRect{171, 0, 1024, 768}},
        // Shapes less than 0.01 apart count as equal.
        {{0, 0, 1024, 768}, {2048, 1536}, std::nullopt},
        {{0, 0, 1366, 768}, {1920, 1080}, std::nullopt},
        {{0, 0, 1009, 1000}, {1000, 1000}, std::nullopt},
        {{0, 0, 1011, 1000}, {1000, 1000}, PixelRect{6, 0, 1000, 1000}},
        // A display that is gone, an output without area.
        {{}, {2048, 1536}, std::nullopt},
        {{0, 0, 1920, 1080}, {0, 1536}, std::nullopt},
        {{0, 0, 1920, 1080}, {2048, 0}, std::nullopt},
    };
    for (const auto& [bounds, output, crop] : cases) {
        EXPECT_EQ(fillCrop(bounds, output), crop)
            << bounds.width << "x" << bounds.height << " to " << output.width << "x" << output.height;
    }
}

}  // namespace
}  // namespace quillon
