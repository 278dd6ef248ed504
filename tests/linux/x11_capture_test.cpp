#include "tests/linux/x11_capture_fixture.hpp"

#include <cstdlib>

#include "platform/linux/x11_displays.hpp"
#include "platform/linux/x11_virtual_displays.hpp"

namespace quillon::testing {
namespace {

using ::testing::HasSubstr;

TEST_F(X11CaptureTest, ListsTheActiveDisplays) {
    ASSERT_TRUE(server_->xrandr("--newmode small 40 800 840 900 1000 600 601 604 666"));
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 small"));
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --mode small --right-of DUMMY0"));
    const auto displays = capture_.shareableDisplays();
    ASSERT_EQ(displays.size(), 2u);
    EXPECT_EQ(displays[0].size, (Size{1920, 1080}));
    EXPECT_EQ(displays[1].size, (Size{800, 600}));
    EXPECT_NE(displays[0].id, displays[1].id);
}

TEST_F(X11CaptureTest, BeginsWithAFullPicture) {
    painter_->fill({0, 0, 1920, 1080}, kBlue);
    painter_->fill({100, 50, 200, 100}, kRed);
    start(request());
    const PicturePtr picture = receiver_.latest();
    EXPECT_EQ(picture->format, Picture::Format::i420);
    EXPECT_EQ(picture->sequence, 1u);
    EXPECT_EQ(picture->damage, (std::vector<PixelRect>{{0, 0, 1920, 1080}}));
    EXPECT_TRUE(near(at(*picture, 0, 0), kBlueYuv)) << ::testing::PrintToString(at(*picture, 0, 0));
    EXPECT_TRUE(near(at(*picture, 1919, 1079), kBlueYuv));
    EXPECT_TRUE(near(at(*picture, 100, 50), kRedYuv)) << ::testing::PrintToString(at(*picture, 100, 50));
    EXPECT_TRUE(near(at(*picture, 299, 149), kRedYuv));
    EXPECT_TRUE(near(at(*picture, 300, 149), kBlueYuv));
}

TEST_F(X11CaptureTest, TellsAndReadsOnlyWhatChanged) {
    painter_->fill({0, 0, 1920, 1080}, kBlack);
    start(request());
    receiver_.takeDamage();
    painter_->fill({401, 301, 21, 11}, kGreen);
    ASSERT_TRUE(receiver_.waitForColor(410, 305, kGreenYuv));
    EXPECT_EQ(receiver_.takeDamage(), (std::vector<PixelRect>{{400, 300, 22, 12}}));
    const PicturePtr picture = receiver_.latest();
    EXPECT_EQ(picture->sequence, 2u);
    EXPECT_TRUE(near(at(*picture, 440, 305), kBlackYuv));
    EXPECT_TRUE(near(at(*picture, 1900, 1000), kBlackYuv));
}

TEST_F(X11CaptureTest, KeepsPicturesThatAreHeldUnchanged) {
    painter_->fill({0, 0, 1920, 1080}, kBlack);
    start(request());
    const PicturePtr first = receiver_.latest();
    painter_->fill({0, 0, 64, 64}, kRed);
    ASSERT_TRUE(receiver_.waitForColor(10, 10, kRedYuv));
    const PicturePtr second = receiver_.latest();
    painter_->fill({64, 0, 64, 64}, kGreen);
    ASSERT_TRUE(receiver_.waitForColor(70, 10, kGreenYuv));
    const PicturePtr third = receiver_.latest();
    EXPECT_TRUE(near(at(*first, 10, 10), kBlackYuv));
    EXPECT_TRUE(near(at(*second, 10, 10), kRedYuv));
    EXPECT_TRUE(near(at(*second, 70, 10), kBlackYuv));
    EXPECT_TRUE(near(at(*third, 10, 10), kRedYuv));
    EXPECT_EQ(third->sequence, 3u);
}

TEST_F(X11CaptureTest, AStillScreenGivesNoPicture) {
    start(request());
    EXPECT_FALSE(receiver_.waitForCount(2, 200ms));
}

TEST_F(X11CaptureTest, DamageOutsideTheDisplayGivesNoPicture) {
    ASSERT_TRUE(server_->xrandr("--newmode small 40 800 840 900 1000 600 601 604 666"));
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 small"));
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --mode small --right-of DUMMY0"));
    CaptureRequest second = request({800, 600});
    second.display = capture_.shareableDisplays().at(1).id;
    start(second);
    receiver_.takeDamage();
    painter_->fill({0, 0, 1920, 1080}, kRed);
    EXPECT_FALSE(receiver_.waitForCount(2, 200ms));
    // Damage across the border is clipped, in the display's own coordinates.
    painter_->fill({1910, 100, 20, 10}, kGreen);
    ASSERT_TRUE(receiver_.waitForColor(4, 104, kGreenYuv));
    EXPECT_EQ(receiver_.takeDamage(), (std::vector<PixelRect>{{0, 100, 10, 10}}));
}

TEST_F(X11CaptureTest, NeverExceedsTheFrameRate) {
    start(request({1920, 1080}, 20));
    const auto begin = Clock::now();
    for (int i = 0; Clock::now() - begin < 1s; ++i)
        painter_->fill({i % 1800, 0, 40, 40}, 0x010101u * (i & 0xFF));
    const auto times = receiver_.times();
    const auto inTime = std::ranges::count_if(times, [&](auto t) { return t >= begin && t < begin + 1s; });
    EXPECT_LE(inTime, 22) << "20, the one at the start, and one that was captured before it";
    EXPECT_GE(inTime, 5);
}

TEST_F(X11CaptureTest, AChangeAfterRestComesAtOnce) {
    painter_->fill({0, 0, 1920, 1080}, kBlack);
    start(request({1920, 1080}, 1));
    EXPECT_FALSE(receiver_.waitForCount(2, 1100ms));
    painter_->fill({0, 0, 10, 10}, kWhite);
    EXPECT_TRUE(receiver_.waitForCount(2, 800ms)) << "the next frame of a grid would come later";
}

TEST_F(X11CaptureTest, WaitsUntilTheConsumerIsReadyAndThenBringsTheNewest) {
    painter_->fill({0, 0, 1920, 1080}, kBlack);
    start(request());
    receiver_.setReady(false);
    painter_->fill({0, 0, 10, 10}, kRed);
    ASSERT_TRUE(receiver_.waitUntilAsked(receiver_.asked() + 5));
    painter_->fill({0, 0, 10, 10}, kGreen);
    EXPECT_EQ(receiver_.count(), 1);
    receiver_.setReady(true);
    ASSERT_TRUE(receiver_.waitForCount(2));
    EXPECT_TRUE(near(at(*receiver_.latest(), 5, 5), kGreenYuv));
}

TEST_F(X11CaptureTest, HandsTheNewestPictureOverAgainOnRequest) {
    start(request());
    const PicturePtr first = receiver_.latest();
    receiver_.setReady(false);
    const int before = receiver_.asked();
    stream_->requestPicture();
    ASSERT_TRUE(receiver_.waitUntilAsked(before + 3));
    EXPECT_EQ(receiver_.count(), 1);
    receiver_.setReady(true);
    ASSERT_TRUE(receiver_.waitForCount(2));
    EXPECT_EQ(receiver_.latest(), first);
}

TEST_F(X11CaptureTest, WaitsForARingPictureWhenAllAreHeld) {
    painter_->fill({0, 0, 1920, 1080}, kBlack);
    start(request());
    std::vector<PicturePtr> held{receiver_.latest()};
    for (int i = 1; i < 4; ++i) {
        painter_->fill({i * 100, 0, 50, 50}, kRed);
        ASSERT_TRUE(receiver_.waitForColor(i * 100 + 5, 5, kRedYuv));
        held.push_back(receiver_.latest());
    }
    painter_->fill({800, 0, 50, 50}, kGreen);
    EXPECT_FALSE(receiver_.waitForCount(5, 100ms));
    held.erase(held.begin());
    ASSERT_TRUE(receiver_.waitForColor(805, 5, kGreenYuv));
    EXPECT_TRUE(near(at(*receiver_.latest(), 305, 5), kRedYuv));
}

TEST_F(X11CaptureTest, FitKeepsTheShapeBetweenBlackBars) {
    painter_->fill({0, 0, 1920, 1080}, kWhite);
    painter_->fill({0, 0, 960, 1080}, kRed);
    start(request({1024, 768}));
    // 1024 x 576 in the middle.
    const PicturePtr picture = receiver_.latest();
    EXPECT_TRUE(near(at(*picture, 10, 90), kBlackYuv));
    EXPECT_TRUE(near(at(*picture, 10, 100), kRedYuv));
    EXPECT_TRUE(near(at(*picture, 10, 668), kRedYuv));
    EXPECT_TRUE(near(at(*picture, 10, 676), kBlackYuv));
    EXPECT_TRUE(near(at(*picture, 508, 300), kRedYuv));
    EXPECT_TRUE(near(at(*picture, 516, 300), kWhiteYuv));
}

TEST_F(X11CaptureTest, StretchFillsTheOutput) {
    painter_->fill({0, 0, 1920, 1080}, kWhite);
    painter_->fill({0, 0, 1920, 540}, kGreen);
    CaptureRequest stretched = request({1024, 768});
    stretched.preservesAspectRatio = false;
    start(stretched);
    const PicturePtr picture = receiver_.latest();
    EXPECT_TRUE(near(at(*picture, 0, 0), kGreenYuv));
    EXPECT_TRUE(near(at(*picture, 1023, 380), kGreenYuv));
    EXPECT_TRUE(near(at(*picture, 1023, 388), kWhiteYuv));
    EXPECT_TRUE(near(at(*picture, 0, 767), kWhiteYuv));
}

TEST_F(X11CaptureTest, ASourceRectangleFillsTheOutput) {
    painter_->fill({0, 0, 1920, 1080}, kWhite);
    painter_->fill({240, 0, 1440, 1080}, kBlue);
    painter_->fill({960, 540, 720, 540}, kRed);
    CaptureRequest cropped = request({2048, 1536});
    cropped.sourceRect = PixelRect{240, 0, 1440, 1080};
    start(cropped);
    const PicturePtr picture = receiver_.latest();
    EXPECT_TRUE(near(at(*picture, 0, 0), kBlueYuv));
    EXPECT_TRUE(near(at(*picture, 2047, 0), kBlueYuv));
    EXPECT_TRUE(near(at(*picture, 1016, 760), kBlueYuv));
    EXPECT_TRUE(near(at(*picture, 1032, 776), kRedYuv));
    EXPECT_TRUE(near(at(*picture, 2047, 1535), kRedYuv));
}

TEST_F(X11CaptureTest, SurvivesAResolutionChange) {
    painter_->fill({0, 0, 1920, 1080}, kBlue);
    start(request({1024, 768}));
    ASSERT_TRUE(server_->xrandr("--newmode small 40 800 840 900 1000 600 601 604 666"));
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY0 small"));
    ASSERT_TRUE(server_->xrandr("--output DUMMY0 --mode small"));
    painter_->fill({0, 0, 800, 600}, kRed);
    ASSERT_TRUE(receiver_.waitUntil([] { return true; }));
    // 4:3 on 4:3: no bars any more, and the output keeps its size.
    ASSERT_TRUE(receiver_.waitForColor(2, 2, kRedYuv));
    const PicturePtr picture = receiver_.latest();
    EXPECT_EQ(picture->width, 1024);
    EXPECT_EQ(picture->height, 768);
    EXPECT_TRUE(near(at(*picture, 1023, 767), kRedYuv));
    ASSERT_TRUE(server_->xrandr("--output DUMMY0 --mode 1920x1080"));
    painter_->fill({0, 0, 1920, 1080}, kGreen);
    ASSERT_TRUE(receiver_.waitForColor(2, 300, kGreenYuv));
    ASSERT_TRUE(receiver_.waitForColor(2, 2, kBlackYuv));
}

TEST_F(X11CaptureTest, FollowsADisplayThatMoves) {
    ASSERT_TRUE(server_->xrandr("--newmode small 40 800 840 900 1000 600 601 604 666"));
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 small"));
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --mode small --right-of DUMMY0"));
    painter_->fill({0, 0, 2720, 1680}, kBlack);
    CaptureRequest second = request({800, 600});
    second.display = capture_.shareableDisplays().at(1).id;
    start(second);
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --below DUMMY0"));
    painter_->fill({0, 1080, 400, 600}, kGreen);
    ASSERT_TRUE(receiver_.waitForColor(10, 10, kGreenYuv));
    ASSERT_TRUE(receiver_.waitForColor(410, 10, kBlackYuv));
}

TEST_F(X11CaptureTest, FollowsAVirtualDisplay) {
    X11Displays displays;
    const auto display = X11VirtualDisplays().create({"", {{800, 600}, {600, 800}}, false, {800, 800}, 60});
    ASSERT_TRUE(display);
    CaptureRequest second = request({800, 600});
    second.display = display->id();
    start(second);
    ASSERT_TRUE(displays.setOrigin(display->id(), -800, -600));
    painter_->fill({0, 0, 800, 600}, kGreen);
    ASSERT_TRUE(receiver_.waitForColor(10, 10, kGreenYuv)) << "the main display made way for it";
    ASSERT_TRUE(displays.setMode(display->id(), displays.modes(display->id()).at(1)));
    painter_->fill({0, 0, 600, 800}, kRed);
    ASSERT_TRUE(receiver_.waitForColor(400, 10, kRedYuv));
    ASSERT_TRUE(receiver_.waitForColor(10, 10, kBlackYuv)) << "bars beside it";
}

TEST_F(X11CaptureTest, EndsWhenTheDisplayGoes) {
    ASSERT_TRUE(server_->xrandr("--newmode small 40 800 840 900 1000 600 601 604 666"));
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 small"));
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --mode small --right-of DUMMY0"));
    CaptureRequest second = request({800, 600});
    second.display = capture_.shareableDisplays().at(1).id;
    start(second);
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --off"));
    EXPECT_EQ(receiver_.waitForEnd(), "the captured display is gone");
}

TEST_F(X11CaptureTest, EndsWhenTheServerGoes) {
    start(request());
    server_->kill();
    EXPECT_EQ(receiver_.waitForEnd(), "the X server has ended");
}

TEST_F(X11CaptureTest, StopsWhileTheConsumerIsNotReady) {
    start(request());
    receiver_.setReady(false);
    painter_->fill({0, 0, 10, 10}, kRed);
    ASSERT_TRUE(receiver_.waitUntilAsked(receiver_.asked() + 2));
    stream_->stop();
    const int asked = receiver_.asked();
    painter_->fill({0, 0, 10, 10}, kGreen);
    EXPECT_EQ(receiver_.asked(), asked);
    stream_->stop();
}

TEST_F(X11CaptureTest, ThePointerIsInThePictureOnlyWhenAskedFor) {
    painter_->fill({0, 0, 1920, 1080}, kBlue);
    painter_->showSquareCursor(16, kRed);
    painter_->warp(100, 100);
    start(request());
    EXPECT_TRUE(near(at(*receiver_.latest(), 104, 104), kBlueYuv));
    stream_.reset();

    CaptureRequest shown = request();
    shown.showsCursor = true;
    start(shown);
    ASSERT_TRUE(receiver_.waitForColor(104, 104, kRedYuv));
    painter_->warp(300, 200);
    ASSERT_TRUE(receiver_.waitForColor(304, 204, kRedYuv));
    EXPECT_TRUE(near(at(*receiver_.latest(), 104, 104), kBlueYuv));
    // What changes beneath it stays beneath it.
    painter_->fill({290, 190, 20, 20}, kGreen);
    ASSERT_TRUE(receiver_.waitForColor(295, 195, kGreenYuv));
    EXPECT_TRUE(near(at(*receiver_.latest(), 304, 204), kRedYuv));
    painter_->warp(1919, 1079);
    ASSERT_TRUE(receiver_.waitForColor(304, 204, kGreenYuv));
}

TEST_F(X11CaptureTest, AnUnknownDisplayFails) {
    CaptureRequest unknown = request();
    unknown.display = 4711;
    EXPECT_THROW(capture_.start(unknown, receiver_.callbacks()), CaptureFailure);
}

TEST_F(X11CaptureTest, WorksWithoutSharedMemory) {
    startServer({"-extension", "MIT-SHM"});
    painter_->fill({0, 0, 1920, 1080}, kBlue);
    start(request());
    EXPECT_TRUE(near(at(*receiver_.latest(), 1919, 1079), kBlueYuv));
    receiver_.takeDamage();
    painter_->fill({100, 50, 20, 10}, kRed);
    ASSERT_TRUE(receiver_.waitForColor(119, 59, kRedYuv));
    EXPECT_EQ(receiver_.takeDamage(), (std::vector<PixelRect>{{100, 50, 20, 10}}));
    EXPECT_TRUE(near(at(*receiver_.latest(), 120, 59), kBlueYuv));
}

TEST_F(X11CaptureTest, RefusesAScreenOfAnotherDepth) {
    startServer({"-depth", "16"});
    try {
        capture_.start(request(), receiver_.callbacks());
        FAIL() << "a 16-bit screen was captured";
    } catch (const CaptureFailure& failure) {
        EXPECT_THAT(failure.what(), HasSubstr("colour depth of 16 bits"));
    }
}

class NoDisplayTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "XDG_SESSION_TYPE"}) unsetenv(name);
    }
    static std::string failure() {
        try {
            X11Capture().shareableDisplays();
        } catch (const CaptureFailure& error) {
            return error.what();
        }
        return "";
    }
};

TEST_F(NoDisplayTest, SaysThatThereIsNoDisplay) {
    EXPECT_THAT(failure(), HasSubstr("DISPLAY is not set"));
}

TEST_F(NoDisplayTest, SaysThatWaylandIsNotEnough) {
    setenv("WAYLAND_DISPLAY", "wayland-0", 1);
    EXPECT_THAT(failure(), HasSubstr("Wayland only"));
    unsetenv("WAYLAND_DISPLAY");
    setenv("XDG_SESSION_TYPE", "wayland", 1);
    EXPECT_THAT(failure(), HasSubstr("X11 (Xorg) session"));
}

TEST_F(NoDisplayTest, NamesTheServerThatDoesNotAnswer) {
    setenv("DISPLAY", ":9999", 1);
    EXPECT_THAT(failure(), HasSubstr("\":9999\" does not answer"));
}

}  // namespace
}  // namespace quillon::testing
