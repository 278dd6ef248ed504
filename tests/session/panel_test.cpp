#include <gmock/gmock.h>

#include "tests/session/arranging_fixture.hpp"

namespace quillon {
namespace {

using testing::Contains;

class PanelTest : public ArrangingTest {};

// --- the greeting's panel

TEST_F(PanelTest, TheDesktopFollowsTheGreetingsPanel) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    EXPECT_EQ(mode(), (Size{2048, 1536}));
    EXPECT_EQ(session->state(), Session::State::running("iPad display 2048×1536 · USB"));
    EXPECT_THAT(log(), Contains("desktop follows panel 2732x2048 (aspect 1.33 vs 1.33)"));
    EXPECT_THAT(log(), Contains("resolution set to 2048x1536 (capture 2732x2048)"));
    EXPECT_THAT(log(), Contains("canvas options: 1024x768, 1536x2048, 1600x1200, 1668x2388, 2048x1536, "
                                "2048x2732, 2388x1668, 2732x2048"));
    EXPECT_THAT(log(), Contains("raw modes: 1024x768, 1536x2048, 1600x1200, 1668x2388, 2048x1536, "
                                "2048x2732, 2388x1668, 2732x2048"));
    EXPECT_EQ(display().bounds, (Rect{1920, 0, 2048, 1536}));
    EXPECT_EQ(machine.encoder.settings.back().width, 2732);
}

TEST_F(PanelTest, AfterAChangeOfSizeTheDesktopIsGivenTimeToSettle) {
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return loggedBeginning("desktop follows panel") == 1; }));
    const Instant aligned = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return machine.screenCapture.requests.size() == 1; }));
    EXPECT_GE(machine.machine.now() - aligned, 600ms);
    EXPECT_LE(machine.machine.now() - aligned, 700ms);
}

TEST_F(PanelTest, ADesktopThatFitsThePanelNeedsNoTime) {
    Session::Config config = extending();
    config.virtualWidth = 1600;
    config.virtualHeight = 1200;
    session->start(config);
    ASSERT_TRUE(eventually([&] { return device->connectedAt.size() == 1; }));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_LE(machine.machine.now() - device->connectedAt[0], 100ms);
    EXPECT_EQ(loggedBeginning("desktop follows"), 0);
}

TEST_F(PanelTest, AResolutionThatIsNoLongerOfferedIsReset) {
    device->greeting = "Tablet 2 Tablet13,8\n";
    Session::Config config = extending();
    config.virtualWidth = 1366;
    config.virtualHeight = 1024;
    start(config);
    EXPECT_EQ(logged("desktop reset to 1600x1200 (not offered by this panel)"), 1);
    EXPECT_EQ(mode(), (Size{1600, 1200}));
    EXPECT_EQ(session->config().virtualSize(), (Size{1600, 1200}));
}

TEST_F(PanelTest, APanelTooSmallForAllModesLeavesTheDesktop) {
    device->greeting = "Tablet 2 Tablet13,8 x 800x600\n";
    start(extending());
    EXPECT_EQ(mode(), (Size{1024, 768}));
    EXPECT_EQ(loggedBeginning("desktop reset"), 0);
    EXPECT_EQ(logged("canvas options: "), 1);
}

TEST_F(PanelTest, StopWhileTheDesktopSettlesStaysStopped) {
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return loggedBeginning("desktop follows panel") == 1; }));
    run(300ms);
    session->stop();
    run(20s);
    EXPECT_EQ(session->state(), Session::State::idle());
    EXPECT_TRUE(machine.screenCapture.requests.empty());
    EXPECT_EQ(machine.network.openDescriptors(), 0U);
}

TEST_F(PanelTest, ALinkLostWhileTheDesktopSettlesIsBuiltAgain) {
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return loggedBeginning("desktop follows panel") == 1; }));
    run(300ms);
    device->disconnect();
    ASSERT_TRUE(eventually([&] { return links() == 2; }));
    ASSERT_TRUE(eventuallyRunning());
    run(5s);
    EXPECT_TRUE(session->state().isRunning());
    EXPECT_EQ(links(), 2U);
}

// --- a panel that changes

TEST_F(PanelTest, AnUprightPanelTurnsTheDesktop) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    run(1s);
    report("2048x2732");
    ASSERT_TRUE(eventually([&] { return loggedBeginning("desktop follows panel 2048x2732") == 1; }));
    const Instant aligned = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return logged("reconfiguring for 2048x2732 panel") == 1; }));
    EXPECT_NEAR(toSeconds(machine.machine.now() - aligned), 0.6, 0.01);
    ASSERT_TRUE(eventually([&] { return machine.screenCapture.requests.size() == 2; }));
    run(1s);
    EXPECT_EQ(mode(), (Size{1536, 2048}));
    EXPECT_EQ(display().bounds, (Rect{1920, 0, 1536, 2048}));
    EXPECT_EQ(session->state(), Session::State::running("iPad display 1536×2048 · USB"));
    EXPECT_EQ(machine.encoder.settings.back().height, 2732);
    EXPECT_EQ(device->ofType(8).back().text(), "1536×2048 | Smooth Off | Fit");
    EXPECT_EQ(links(), 1U);
    EXPECT_EQ(machine.screenCapture.streams, 1);
    EXPECT_EQ(machine.encoder.living, 1);
}

TEST_F(PanelTest, APanelThatNeedsNoOtherDesktopIsFollowedAtOnce) {
    start(extending());
    report("2388x1668");
    ASSERT_TRUE(eventually([&] { return logged("panel changed to 2388x1668") == 1; }));
    const Instant reported = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return logged("reconfiguring for 2388x1668 panel") == 1; }));
    EXPECT_LE(machine.machine.now() - reported, 1ms);
}

TEST_F(PanelTest, ASecondReportDoesNotCutTheSettlingShort) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    report("2048x2732");
    ASSERT_TRUE(eventually([&] { return logged("panel changed to 2048x2732") == 1; }));
    run(100ms);
    report("2049x2732");
    ASSERT_TRUE(eventually([&] { return logged("panel changed to 2049x2732") == 1; }));
    const Instant second = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return logged("reconfiguring for 2049x2732 panel") == 1; }));
    EXPECT_GE(machine.machine.now() - second, 600ms);
    run(5s);
    EXPECT_EQ(loggedBeginning("reconfiguring"), 1);
}

TEST_F(PanelTest, OfManyPanelsASlowDisplayServerIsGivenTheLast) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    machine.screens.configurationTime = 1s;
    const int before = machine.screens.modeChanges;
    for (int i = 0; i <= 100; ++i) {
        report(i % 2 == 0 ? "2048x2732" : "2732x2048");
        run(10ms);
    }
    run(60s);
    EXPECT_LE(machine.screens.modeChanges - before, 4);
    EXPECT_EQ(mode(), (Size{1536, 2048}));
    EXPECT_EQ(display().bounds, (Rect{1920, 0, 1536, 2048}));
    EXPECT_TRUE(session->state().isRunning());
    EXPECT_EQ(links(), 1U);
}

TEST_F(PanelTest, APanelReportWithoutALinkToReconfigureIsForgottenWithTheLink) {
    device->greeting = "Tablet 2 Tablet13,8 x 2732x2048\n";
    start(extending());
    report("2048x2732");
    ASSERT_TRUE(eventually([&] { return logged("panel changed to 2048x2732") == 1; }));
    device->greeting = "Tablet 2 Tablet13,8\n";
    device->disconnect();
    ASSERT_TRUE(eventually([&] { return links() == 2; }));
    ASSERT_TRUE(eventuallyRunning());
    run(5s);
    EXPECT_EQ(loggedBeginning("reconfiguring"), 0);
    EXPECT_EQ(machine.encoder.settings.back().height, 2732) << "the next start-up follows the panel anyway";
    EXPECT_EQ(mode(), (Size{1536, 2048}));
}

TEST_F(PanelTest, AnEncoderThatCannotBeMadeForAPanelEndsTheStreamUntilTheNextOne) {
    start(extending());
    machine.encoder.refuses = true;
    report("2388x1668");
    ASSERT_TRUE(eventually([&] { return session->state() == Session::State::failed("encoder failed"); }));
    run(20s);
    EXPECT_EQ(session->state(), Session::State::failed("encoder failed")) << "no retry";
    EXPECT_EQ(machine.encoder.living, 0);
    EXPECT_EQ(machine.screenCapture.streams, 0);
    machine.encoder.refuses = false;
    report("2048x1536");
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.encoder.settings.back().width, 2048);
    EXPECT_EQ(links(), 1U);
}

TEST_F(PanelTest, AStreamThatAReportBroughtBackIsNotEndedByTheRetry) {
    machine.screenCapture.startFailure = "no screen to be had";
    session->start(extending());
    ASSERT_TRUE(eventually([&] { return logged("capture failed: no screen to be had") == 1; }));
    machine.screenCapture.startFailure.clear();
    run(1s);
    report("2388x1668");
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_TRUE(session->state().isRunning());
    EXPECT_EQ(links(), 1U);
    EXPECT_EQ(machine.screenCapture.requests.size(), 2U);
}

TEST_F(PanelTest, ThePatternIsDrawnAnewForAnotherPanel) {
    Session::Config config = mirroring();
    config.usePattern = true;
    start(config);
    report("2388x1668");
    ASSERT_TRUE(eventually([&] { return machine.encoder.made == 2; }));
    run(1s);
    EXPECT_EQ(session->state(), Session::State::running("Test pattern 2388×1668"));
    EXPECT_TRUE(machine.screenCapture.requests.empty());
}

TEST_F(PanelTest, AFilledPictureIsCutAnewWhenTheDesktopChangesItsSize) {
    Session::Config config = extending();
    config.scalingExplicit = true;
    config.scaling = Scaling::fill;
    device->greeting = "Tablet 2 Tablet13,8 x 2388x1668\n";
    start(config);
    ASSERT_EQ(machine.screenCapture.requests.back().sourceRect->width, 1600);
    session->setResolution(1024, 768);
    ASSERT_TRUE(eventually([&] { return machine.screenCapture.requests.size() == 2; }));
    EXPECT_EQ(machine.screenCapture.requests.back().sourceRect->width, 1024);
    run(5s);
    EXPECT_EQ(machine.screenCapture.requests.size(), 2U);
    EXPECT_EQ(machine.screenCapture.streams, 1);
    EXPECT_EQ(links(), 1U);
}

TEST_F(PanelTest, TheDeviceIsToldTheScalingThatANewDesktopGets) {
    device->greeting = "Tablet 2 Tablet13,8 x 1668x2388\n";
    start(extending());
    ASSERT_EQ(device->ofType(8).back().text(), "1600×1200 | Smooth Off | Fill");
    session->setResolution(1536, 2048);
    ASSERT_TRUE(eventually([&] { return machine.screenCapture.requests.size() == 2; }));
    run(100ms);
    EXPECT_EQ(session->effectiveScaling(), Scaling::fit);
    EXPECT_FALSE(machine.screenCapture.requests.back().sourceRect);
    EXPECT_EQ(device->ofType(8).back().text(), "1536×2048 | Smooth Off | Fit");
}

}  // namespace
}  // namespace quillon
