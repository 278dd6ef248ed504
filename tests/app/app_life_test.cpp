#include "tests/app/application_fixture.hpp"

// Launch, what the status item says, failures, and the end.

namespace quillon {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Icon = StatusItemLook::Icon;
using Kind = Session::State::Kind;

class AppLifeTest : public ApplicationTest {};

TEST_F(AppLifeTest, TheFirstLaunchStoresAutoStartAndStartsASession) {
    tablet = machine.attachDevice("tablet-1");
    launch();
    EXPECT_EQ(stored("autoStart"), "true");
    EXPECT_TRUE(eventuallyRunning());
    const Session::Config& config = delegate->session().config();
    EXPECT_EQ(config.transport, Transport::auto_);
    EXPECT_EQ(config.quality, StreamQuality::best);
    EXPECT_EQ(config.qualityWiFi, StreamQuality::fast);
    EXPECT_EQ(config.smoothUSB, 0);
    EXPECT_EQ(config.smoothWiFi, 3);
    EXPECT_TRUE(config.showOverlay);
    EXPECT_EQ(config.position, "right");
}

TEST_F(AppLifeTest, WithoutAutoStartNothingRuns) {
    machine.stored.setBoolean("autoStart", false);
    tablet = machine.attachDevice("tablet-1");
    launch();
    run(30s);
    EXPECT_EQ(state(), Kind::idle);
    EXPECT_TRUE(tablet->connectedAt.empty() || tablet->counts.empty()) << "looked for, at most";
    EXPECT_EQ(stored("autoStart"), "false");
    EXPECT_EQ(toolTip(), "Quillon — Stopped");
}

TEST_F(AppLifeTest, ThePatternIsStreamedWhenTheArgumentsSaySo) {
    delegate = std::make_unique<AppDelegate>(machine, *shell,
                                             AppDelegate::Details{"", {"QuillonHost", "--pattern"}});
    launchStreaming();
    EXPECT_TRUE(delegate->session().config().usePattern);
    EXPECT_THAT(delegate->session().state().text, StartsWith("Test pattern"));
}

TEST_F(AppLifeTest, AStatusItemStandsThereFromTheBeginning) {
    launch();
    ASSERT_NE(machine.shell.item, nullptr);
    EXPECT_EQ(machine.shell.item->look, (StatusItemLook{Icon::normal, "Quillon", "Quillon — Stopped"}));
    EXPECT_FALSE(machine.shell.item->menu) << "the popover is the default front end";
}

TEST_F(AppLifeTest, TheToolTipFollowsStatesAndStatistics) {
    machine.screenCapture.animate(30);
    launchStreaming();
    EXPECT_EQ(toolTip(), "Quillon — " + delegate->session().state().text);
    EXPECT_EQ(logged("state: Starting…"), 1);
    EXPECT_EQ(logged("state: " + delegate->session().state().text), 1);
    ASSERT_TRUE(eventually([this] { return toolTip().ends_with(" ms"); }));
    EXPECT_THAT(toolTip(), testing::MatchesRegex(".+ — [0-9]+ fps · [0-9]+ ms"));
    EXPECT_THAT(toolTip(), StartsWith(delegate->session().state().text + " — "));
}

TEST_F(AppLifeTest, StatisticsWithoutLatencyTellFramesOnly) {
    machine.screenCapture.animate(30);
    tablet = machine.attachDevice("tablet-1");
    tablet->acknowledges = false;
    launchStreaming();
    ASSERT_TRUE(eventually([this] { return toolTip().ends_with(" fps"); }));
}

TEST_F(AppLifeTest, StatisticsOfAnEndedStreamAreForgotten) {
    machine.screenCapture.animate(30);
    launchStreaming();
    run(3s);
    machine.shell.clickItem();
    EXPECT_THAT(machine.shell.panel->statistics, HasSubstr("fps"));
    machine.shell.clickPanel("toggleStreaming");
    ASSERT_TRUE(eventuallyIs(Kind::idle));
    EXPECT_EQ(machine.shell.panel->statistics, "");
    EXPECT_EQ(delegate->popoverSnapshot().stats, "");
    run(10s);
    EXPECT_EQ(machine.shell.panel->statistics, "");
}

TEST_F(AppLifeTest, AFailureIsPresentedOnceUntilASessionRuns) {
    launch();
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    EXPECT_EQ(machine.shell.item->look,
              (StatusItemLook{Icon::error, "Quillon error", "Failed: iPad not reachable"}));
    EXPECT_EQ(logged("state: Failed: iPad not reachable"), 1);
    EXPECT_EQ(logged("session failed: iPad not reachable"), 1);

    ASSERT_TRUE(eventually([] { return logged("session failed: iPad not reachable") == 2; }, 120s));
    EXPECT_EQ(toolTip(), "Quillon — Failed: iPad not reachable") << "told, but presented no more";

    tablet = machine.attachDevice("tablet-1");
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.shell.item->look.icon, Icon::normal);
    EXPECT_EQ(machine.shell.item->look.description, "Quillon");

    machine.usb.attached.clear();
    tablet->disconnect();
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    EXPECT_EQ(toolTip(), "Failed: iPad not reachable") << "presented again";
}

TEST_F(AppLifeTest, ActivationRetriesAFailedSessionOnceInFiveSeconds) {
    const std::string line = "retrying after activation (previous failure)";
    launch();
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    delegate->applicationDidBecomeActive();
    EXPECT_EQ(logged(line), 1);
    EXPECT_EQ(state(), Kind::idle) << "stopped, to be started half a second later";
    ASSERT_TRUE(eventuallyIs(Kind::starting));
    EXPECT_EQ(logged("state: Stopped"), 1);

    // Whatever the state at that moment: a second activation within five seconds retries nothing.
    run(4s);
    delegate->applicationDidBecomeActive();
    EXPECT_EQ(logged(line), 1);
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    delegate->applicationDidBecomeActive();
    EXPECT_EQ(logged(line), 2) << "more than five seconds later";
}

TEST_F(AppLifeTest, TwoActivationsInOneFailureRetryOnce) {
    // A failure that comes soon, so that the second activation finds it again.
    tablet = machine.attachDevice("tablet-1");
    machine.encoder.refuses = true;
    launch();
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    delegate->applicationDidBecomeActive();
    run(2s);
    ASSERT_EQ(state(), Kind::failed);
    delegate->applicationDidBecomeActive();
    EXPECT_EQ(logged("retrying after activation (previous failure)"), 1);
}

TEST_F(AppLifeTest, ActivationLeavesARunningSessionAlone) {
    launchStreaming();
    delegate->applicationDidBecomeActive();
    EXPECT_EQ(state(), Kind::running);
    EXPECT_EQ(loggedBeginning("retrying"), 0);
}

TEST_F(AppLifeTest, StoppingEndsARetryThatWaits) {
    launch();
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    delegate->applicationDidBecomeActive();
    MenuItem stop;
    stop.action = "stopStreaming";
    delegate->perform(stop);
    run(10s);
    EXPECT_EQ(state(), Kind::idle);
}

TEST_F(AppLifeTest, WindowsWithoutADisplayComeBackAtLaunch) {
    machine.desktopWindows.windows = {{1, {5000, 5000, 400, 300}}, {2, {10, 10, 400, 300}}};
    launch();
    EXPECT_EQ(machine.desktopWindows.windows[0].frame.x, 80);
    EXPECT_EQ(machine.desktopWindows.windows[1].frame.x, 10);
}

TEST_F(AppLifeTest, TerminationReleasesEverything) {
    machine.stored.setBoolean("preventSleep", true);
    launchStreaming();
    EXPECT_EQ(machine.virtualScreens.living, 1);
    EXPECT_THAT(machine.shell.wakeLocks, ElementsAre("Quillon streaming"));
    delegate->applicationWillTerminate();
    EXPECT_EQ(state(), Kind::idle);
    EXPECT_EQ(machine.virtualScreens.living, 0);
    EXPECT_THAT(machine.shell.wakeLocks, ElementsAre());
    EXPECT_EQ(machine.shell.item, nullptr);
    run(60s);
    EXPECT_EQ(machine.network.openDescriptors(), 0u);
    EXPECT_EQ(loggedBeginning("scan: "), 1) << "the list is refreshed no more";
}

TEST_F(AppLifeTest, ALoopThatGoesOnAfterTheDelegateFindsNobody) {
    launchStreaming();
    MenuItem chosen;
    chosen.action = "chooseDevice";
    chosen.representedObject = "nobody|";
    delegate->perform(chosen);
    delegate.reset();
    run(60s);
    EXPECT_EQ(machine.shell.item, nullptr);
}

TEST_F(AppLifeTest, ADesktopWithoutATrayShowsThePanelAndSaysSoOnce) {
    machine.stored.setBoolean("popoverUI", false);
    launch();
    delegate->applicationHasNoStatusArea();
    ASSERT_TRUE(machine.shell.panel);
    EXPECT_THAT(machine.shell.panel->notice, HasSubstr("no tray"));
    EXPECT_EQ(logged("this desktop shows no status items, opening the panel as a window"), 1);

    machine.shell.closePanel();
    delegate->applicationWasReopened();
    ASSERT_TRUE(machine.shell.panel);
    EXPECT_EQ(machine.shell.panel->notice, "");
}

TEST_F(AppLifeTest, ATrayThatComesLaterEndsTheNotice) {
    launch();
    delegate->applicationHasNoStatusArea();
    delegate->applicationGotStatusArea();
    ASSERT_TRUE(machine.shell.panel) << "it is the user's to close";
    EXPECT_EQ(machine.shell.panel->notice, "");
    machine.shell.clickPanel("classicMenu");
    EXPECT_FALSE(machine.shell.panel) << "the menu in the tray takes its place";
}

TEST_F(AppLifeTest, ASecondStartBringsThePanelUp) {
    launch();
    delegate->applicationWasReopened();
    EXPECT_TRUE(machine.shell.panel);
    delegate->applicationWasReopened();
    EXPECT_TRUE(machine.shell.panel) << "and never closes it";
}

TEST_F(AppLifeTest, ASlowStreamIsExplainedInTheLog) {
    machine.screenCapture.animate(30);
    launchStreaming();
    run(65s);
    EXPECT_EQ(loggedBeginning("stream: USB · "), 2) << "a healthy one: at its beginning, then once a minute";
}

}  // namespace
}  // namespace quillon
