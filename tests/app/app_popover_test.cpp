#include "tests/app/application_fixture.hpp"

// The popover from click to device.

namespace quillon {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Kind = Session::State::Kind;
using Dot = PanelContent::Dot;

class AppPopoverTest : public ApplicationTest {
  protected:
    const PanelContent& panel() const { return *machine.shell.panel; }
    bool click(const std::string& control, const std::string& value = {}) {
        return machine.shell.clickPanel(control, value);
    }
    const Session::Config& config() const { return delegate->session().config(); }
};

TEST_F(AppPopoverTest, AClickShowsItAndAnotherClosesIt) {
    launch();
    EXPECT_FALSE(machine.shell.panel);
    machine.shell.clickItem();
    ASSERT_TRUE(machine.shell.panel);
    machine.shell.clickItem();
    EXPECT_FALSE(machine.shell.panel);
}

TEST_F(AppPopoverTest, ItIsShownWithAFreshSnapshot) {
    launch();
    machine.shell.clickItem();
    EXPECT_EQ(panel().dot, Dot::starting);
    machine.shell.clickItem();
    tablet = machine.attachDevice("tablet-1");
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.shell.panelUpdates, 0) << "a hidden panel costs nothing";
    machine.shell.clickItem();
    EXPECT_EQ(panel().dot, Dot::runningOverUSB);
    EXPECT_EQ(panel().status, delegate->session().state().text);
}

TEST_F(AppPopoverTest, AShownPanelFollowsTheSession) {
    machine.screenCapture.animate(30);
    launch();
    machine.shell.clickItem();
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    EXPECT_EQ(panel().dot, Dot::failed);
    EXPECT_EQ(panel().status, "Failed: iPad not reachable");
    tablet = machine.attachDevice("tablet-1");
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(panel().dot, Dot::runningOverUSB);
    ASSERT_TRUE(eventually([this] { return panel().statistics.find("p50 ") != std::string::npos; }));
    EXPECT_THAT(panel().statistics,
                testing::MatchesRegex("USB · [0-9]+ fps · [0-9.]+ Mbps · p50 [0-9]+ ms · drops 0"));
    EXPECT_THAT(delegate->popoverSnapshot().stats, testing::MatchesRegex("[0-9]+ fps · [0-9]+ ms"));
}

TEST_F(AppPopoverTest, AScreenAtRestSaysSo) {
    machine.screenCapture.animate(30);
    launchStreaming();
    machine.shell.clickItem();
    run(5s);
    EXPECT_THAT(panel().statistics, HasSubstr("fps"));
    machine.screenCapture.animate(0);
    run(5s);
    EXPECT_EQ(panel().statistics, "USB · the screen is at rest");
    machine.screenCapture.animate(30);
    run(5s);
    EXPECT_THAT(panel().statistics, HasSubstr("fps"));
}

TEST_F(AppPopoverTest, AJammedLinkSaysSo) {
    machine.screenCapture.animate(30);
    launchStreaming();
    machine.shell.clickItem();
    run(5s);
    machine.network.setRate(tablet->current, 500);
    run(5s);
    EXPECT_EQ(panel().statistics, "USB · the link is full");
    EXPECT_EQ(logged("stream: USB · the link is full"), 1);
    // What waits is taken in the end, and nothing follows it.
    machine.screenCapture.animate(0);
    machine.network.setRate(tablet->current, 1'000'000);
    run(10s);
    EXPECT_EQ(state(), Session::State::Kind::running);
    EXPECT_EQ(panel().statistics, "USB · the screen is at rest");
    EXPECT_EQ(loggedBeginning("stream: USB · the link is full"), 1);
}

TEST_F(AppPopoverTest, ALinkThatTakesNothingFromTheBeginningSaysSo) {
    tablet = machine.attachDevice("tablet-1");
    machine.usb.attached[0].ports[5555].bytesPerSecond = 5000;
    machine.screenCapture.animate(30);
    launchStreaming();
    machine.shell.clickItem();
    run(5s);
    EXPECT_EQ(panel().statistics, "USB · the link is full");
}

TEST_F(AppPopoverTest, OverWifiTheDotIsAnother) {
    machine.stored.setString("target.host", "10.0.0.2");
    tablet = machine.addNetworkDevice("10.0.0.2:5555");
    launch();
    ASSERT_TRUE(eventuallyRunning());
    machine.shell.clickItem();
    EXPECT_EQ(panel().dot, Dot::runningOverWiFi);
    EXPECT_EQ(delegate->popoverSnapshot().link, "Wi-Fi (10.0.0.2)");
    EXPECT_EQ(selected("quality"), "fast");
    EXPECT_EQ(selected("smoothness"), "3");
}

TEST_F(AppPopoverTest, EveryPillIsStoredAppliedAndSelected) {
    launchStreaming();
    machine.shell.clickItem();
    const std::vector<std::tuple<std::string, std::string, std::string>> pills{
        {"quality", "balanced", "quality.usb"}, {"quality", "fast", "quality.usb"},
        {"quality", "best", "quality.usb"},     {"scaling", "fill", "scaling"},
        {"scaling", "stretch", "scaling"},      {"scaling", "fit", "scaling"},
        {"smoothness", "3", "smooth.usb"},      {"smoothness", "6", "smooth.usb"},
        {"smoothness", "0", "smooth.usb"},      {"transport", "usb", "transport"},
        {"transport", "auto", "transport"},     {"position", "left", "position"},
        {"position", "above", "position"},      {"position", "below", "position"},
        {"position", "right", "position"},
    };
    for (const auto& [row, value, key] : pills) {
        EXPECT_TRUE(click(row, value)) << row << " " << value;
        EXPECT_EQ(stored(key), value);
        EXPECT_TRUE(eventuallyRunning()) << row << " " << value;
        EXPECT_EQ(selected(row), value);
    }
    EXPECT_EQ(config().quality, StreamQuality::best);
    EXPECT_EQ(config().scaling, Scaling::fit);
    EXPECT_EQ(config().transport, Transport::auto_);
    EXPECT_EQ(config().position, "right");
    EXPECT_FALSE(click("quality", "ultra")) << "there is no such pill";
}

TEST_F(AppPopoverTest, TheModeIsSwitched) {
    launchStreaming();
    machine.shell.clickItem();
    EXPECT_TRUE(click("mode", "mirror"));
    EXPECT_EQ(stored("mirror"), "true");
    EXPECT_EQ(selected("mode"), "mirror");
    EXPECT_EQ(row("resolution").note, "not used when mirroring");
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_THAT(panel().status, HasSubstr("Mirroring"));
    EXPECT_TRUE(click("mode", "extend"));
    EXPECT_EQ(stored("mirror"), "false");
}

TEST_F(AppPopoverTest, AResolutionIsChosen) {
    launchStreaming();
    machine.shell.clickItem();
    const std::string other = selected("resolution") == row("resolution").pills[0].value
                                  ? row("resolution").pills[1].value
                                  : row("resolution").pills[0].value;
    EXPECT_TRUE(click("resolution", other));
    ASSERT_TRUE(eventually([&] { return delegate->popoverSnapshot().resolution == other; }));
    EXPECT_EQ(stored("resolutionWidth").value() + "x" + stored("resolutionHeight").value(), other);
}

TEST_F(AppPopoverTest, TheStreamIsStoppedAndStarted) {
    launchStreaming();
    machine.shell.clickItem();
    EXPECT_EQ(panel().streamButton.label, "Stop");
    EXPECT_TRUE(click("toggleStreaming"));
    ASSERT_TRUE(eventuallyIs(Kind::idle));
    EXPECT_EQ(panel().streamButton.label, "Start");
    EXPECT_EQ(panel().dot, Dot::stopped);
    EXPECT_TRUE(click("toggleStreaming"));
    EXPECT_TRUE(eventuallyRunning());
}

TEST_F(AppPopoverTest, AFailedStreamIsTriedAgainAtOnce) {
    launch();
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    tablet = machine.attachDevice("tablet-1");
    machine.shell.clickItem();
    EXPECT_EQ(panel().streamButton.label, "Start");
    EXPECT_TRUE(click("toggleStreaming"));
    EXPECT_TRUE(eventually([this] { return state() == Kind::running; }, 3s));
}

TEST_F(AppPopoverTest, SwitchesShowWhatIsTrueNow) {
    launchStreaming();
    machine.shell.clickItem();
    EXPECT_TRUE(switchIsOn("toggleAutoStart"));
    EXPECT_TRUE(click("toggleAutoStart"));
    EXPECT_FALSE(switchIsOn("toggleAutoStart"));
    EXPECT_EQ(stored("autoStart"), "false");

    EXPECT_TRUE(click("toggleOverlay"));
    EXPECT_FALSE(switchIsOn("toggleOverlay"));
    EXPECT_FALSE(config().showOverlay);

    EXPECT_TRUE(click("togglePreventSleep"));
    EXPECT_TRUE(switchIsOn("togglePreventSleep"));
    EXPECT_THAT(machine.shell.wakeLocks, ElementsAre("Quillon streaming"));

    EXPECT_TRUE(click("toggleLaunchAtLogin"));
    EXPECT_TRUE(switchIsOn("toggleLaunchAtLogin"));
    machine.shell.loginFailure = "no";
    EXPECT_TRUE(click("toggleLaunchAtLogin"));
    EXPECT_TRUE(switchIsOn("toggleLaunchAtLogin")) << "nothing has changed";
}

TEST_F(AppPopoverTest, ButtonsDoWhatTheMenuDoes) {
    machine.allowed.capture = false;
    machine.allowed.control = false;
    launch();
    machine.shell.clickItem();
    EXPECT_TRUE(click("openLog"));
    EXPECT_THAT(machine.shell.openedFiles, ElementsAre(Log::url()));
    EXPECT_TRUE(click("about"));
    EXPECT_EQ(machine.shell.told.size(), 1u);
    EXPECT_TRUE(click("wifiAddress"));
    machine.shell.answer("10.0.0.9");
    EXPECT_EQ(stored("wifiHost"), "10.0.0.9");
    EXPECT_TRUE(click("openScreenRecordingSettings"));
    EXPECT_TRUE(click("openAccessibilitySettings"));
    EXPECT_THAT(machine.shell.openedPanes,
                ElementsAre(Opener::Pane::screenRecording, Opener::Pane::accessibility));
    EXPECT_TRUE(click("quit"));
    EXPECT_EQ(machine.shell.terminations, 1);
}

TEST_F(AppPopoverTest, WithoutATrayThePanelSurvivesTheFrontEnd) {
    launch();
    delegate->applicationHasNoStatusArea();
    EXPECT_TRUE(click("classicMenu"));
    EXPECT_EQ(stored("popoverUI"), "false");
    ASSERT_TRUE(machine.shell.panel) << "it is the only way to the application";
    EXPECT_TRUE(switchIsOn("classicMenu"));
    EXPECT_TRUE(click("classicMenu"));
    EXPECT_EQ(stored("popoverUI"), "true");
}

TEST_F(AppPopoverTest, TheSnapshotTellsEverySetting) {
    launchStreaming();
    run(10s);
    const PopoverSnapshot snapshot = delegate->popoverSnapshot();
    EXPECT_EQ(snapshot.status, delegate->session().state().text);
    EXPECT_EQ(snapshot.link, "USB");
    EXPECT_TRUE(snapshot.streaming);
    EXPECT_FALSE(snapshot.mirror);
    EXPECT_THAT(snapshot.deviceLabels, ElementsAre("Automatic", "Quillon on Tablet13,8"));
    EXPECT_THAT(snapshot.deviceValues, ElementsAre("", "tablet-1|"));
    EXPECT_EQ(snapshot.selectedDevice, 0);
    EXPECT_THAT(snapshot.resolutions, testing::Contains(snapshot.resolution));
    EXPECT_EQ(snapshot.quality, "best");
    EXPECT_EQ(snapshot.scaling, "fit");
    EXPECT_EQ(snapshot.smoothness, "0");
    EXPECT_EQ(snapshot.transport, "auto");
    EXPECT_EQ(snapshot.position, "right");
    EXPECT_FALSE(snapshot.launchAtLogin);
    EXPECT_FALSE(snapshot.preventSleep);
    EXPECT_TRUE(snapshot.autoStart);
    EXPECT_TRUE(snapshot.overlay);
    EXPECT_TRUE(snapshot.screenRecording);
    EXPECT_TRUE(snapshot.accessibility);
}

}  // namespace
}  // namespace quillon
