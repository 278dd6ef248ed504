#include "tests/app/application_fixture.hpp"

// Every action of the menu, down to the store, the session and the device.

namespace quillon {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = Session::State::Kind;

class AppActionsTest : public ApplicationTest {
  protected:
    /// Streaming, with the classic menu.
    void launchMenuStreaming() {
        machine.stored.setBoolean("popoverUI", false);
        launchStreaming();
    }
    void launchOverWifi() {
        machine.stored.setBoolean("popoverUI", false);
        machine.stored.setString("target.host", "10.0.0.2");
        tablet = machine.addNetworkDevice("10.0.0.2:5555");
        launch();
        ASSERT_TRUE(eventuallyRunning());
        ASSERT_EQ(delegate->session().activeTransport(), "Wi-Fi (10.0.0.2)");
    }
    const Session::Config& config() const { return delegate->session().config(); }
    bool isChecked(const std::string& title) const { return simulated::findItem(menu(), title)->checked; }
    void send(const std::string& action, std::optional<std::string> object) {
        MenuItem item;
        item.action = action;
        item.representedObject = std::move(object);
        delegate->perform(item);
    }
};

TEST_F(AppActionsTest, MirroringRestartsARunningSession) {
    launchMenuStreaming();
    EXPECT_TRUE(machine.shell.pressKey("2"));
    EXPECT_EQ(stored("mirror"), "true");
    EXPECT_EQ(logged("switch to mirror"), 1);
    ASSERT_TRUE(eventually([this] { return delegate->session().state().text.starts_with("Mirroring"); }));
    EXPECT_NE(simulated::findItem(menu(), "Resolution — not used when mirroring"), nullptr);

    EXPECT_TRUE(choose("Extend Display"));
    EXPECT_EQ(stored("mirror"), "false");
    ASSERT_TRUE(eventually([this] { return delegate->session().state().text.starts_with("iPad display"); }));
}

TEST_F(AppActionsTest, MirroringStartsASessionWhenNoneRuns) {
    machine.stored.setBoolean("autoStart", false);
    tablet = machine.attachDevice("tablet-1");
    launchWithMenu();
    EXPECT_TRUE(choose("Mirror Main Display"));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_TRUE(config().mirror);
}

TEST_F(AppActionsTest, AQualityIsStoredForTheLinkInUse) {
    launchOverWifi();
    EXPECT_TRUE(choose("Balanced — 75% raster"));
    EXPECT_EQ(stored("quality.wifi"), "balanced");
    EXPECT_EQ(stored("quality.usb"), std::nullopt);
    EXPECT_EQ(config().quality, StreamQuality::balanced);
    EXPECT_EQ(logged("quality set to Balanced"), 1);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_TRUE(isChecked("Balanced — 75% raster"));
}

TEST_F(AppActionsTest, AQualityOverUsbLeavesWifiAlone) {
    launchMenuStreaming();
    EXPECT_TRUE(choose("Fast — 50%, best for Wi-Fi"));
    EXPECT_EQ(stored("quality.usb"), "fast");
    EXPECT_EQ(stored("quality.wifi"), std::nullopt);
}

TEST_F(AppActionsTest, AnUnknownChoiceIsIgnored) {
    launchMenuStreaming();
    const auto before = machine.stored.values;
    for (const char* action :
         {"setQualityFromMenu", "setScalingFromMenu", "setTransportFromMenu", "setResolutionFromMenu"}) {
        for (const auto& value : {std::optional<std::string>("ultra"), std::optional<std::string>("Best"),
                                  std::optional<std::string>(""), std::optional<std::string>()}) {
            send(action, value);
        }
    }
    send("noSuchAction", "best");
    EXPECT_EQ(machine.stored.values, before);
    EXPECT_EQ(state(), Kind::running);
}

TEST_F(AppActionsTest, ScalingBecomesTheUsersChoice) {
    launchMenuStreaming();
    EXPECT_TRUE(choose("Stretch — fills, distorted"));
    EXPECT_EQ(stored("scaling"), "stretch");
    EXPECT_TRUE(config().scalingExplicit);
    EXPECT_EQ(config().scaling, Scaling::stretch);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_TRUE(isChecked("Stretch — fills, distorted"));
}

TEST_F(AppActionsTest, SmoothingReachesTheDevice) {
    launchMenuStreaming();
    const int before = tablet->counts[5];
    EXPECT_TRUE(choose("Smooth — +~100 ms, less jerk"));
    EXPECT_EQ(stored("smooth.usb"), "3");
    EXPECT_EQ(config().smoothness, 3);
    ASSERT_TRUE(eventually([&] { return tablet->counts[5] > before; }));
    EXPECT_EQ(tablet->ofType(5).back().payload, (Bytes{3}));
    EXPECT_NE(simulated::findItem(menu(), "Smoothness — Smooth"), nullptr);
}

TEST_F(AppActionsTest, ASmoothingThatIsNoNumberIsOff) {
    launchMenuStreaming();
    for (const auto& value : {std::optional<std::string>("much"), std::optional<std::string>()}) {
        machine.stored.setInteger("smooth.usb", 6);
        send("setSmoothingFromMenu", value);
        EXPECT_EQ(stored("smooth.usb"), "0");
        EXPECT_EQ(config().smoothness, 0);
    }
}

TEST_F(AppActionsTest, TheTransportRestartsWhenItChanges) {
    launchMenuStreaming();
    EXPECT_TRUE(choose("USB (cable)"));
    EXPECT_EQ(stored("transport"), "usb");
    EXPECT_EQ(config().transport, Transport::usb);
    EXPECT_EQ(logged("transport set to usb"), 1);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_TRUE(isChecked("USB (cable)"));
}

TEST_F(AppActionsTest, ThePositionMovesTheVirtualDisplay) {
    launchMenuStreaming();
    EXPECT_TRUE(choose("Left"));
    EXPECT_EQ(stored("position"), "left");
    EXPECT_EQ(config().position, "left");
    ASSERT_TRUE(eventually([] { return loggedBeginning("position=left applied to display ") == 1; }));
    EXPECT_TRUE(isChecked("Left"));
}

TEST_F(AppActionsTest, AMissingPositionIsRight) {
    launchMenuStreaming();
    send("setPositionFromMenu", "below");
    send("setPositionFromMenu", std::nullopt);
    EXPECT_EQ(stored("position"), "right");
    EXPECT_EQ(config().position, "right");
}

TEST_F(AppActionsTest, AResolutionIsStoredAndApplied) {
    launchMenuStreaming();
    const auto offered = delegate->session().availableResolutions();
    ASSERT_GE(offered.size(), 2u);
    const Size other = *std::ranges::find_if(offered, [this](Size size) {
        return size.width != config().virtualWidth || size.height != config().virtualHeight;
    });
    const std::string text = std::to_string(other.width) + "x" + std::to_string(other.height);
    EXPECT_TRUE(choose(text));
    EXPECT_EQ(stored("resolutionWidth"), std::to_string(other.width));
    EXPECT_EQ(stored("resolutionHeight"), std::to_string(other.height));
    ASSERT_TRUE(eventually([&] { return config().virtualWidth == other.width; }));
    EXPECT_NE(simulated::findItem(menu(), "Resolution — " + text), nullptr);
    EXPECT_TRUE(isChecked(text));
}

TEST_F(AppActionsTest, AResolutionNeedsTwoNumbers) {
    launchMenuStreaming();
    for (const char* text : {"1366", "1366x", "x1024", "widexhigh", "1366x1024x2", "1366 x 1024"}) {
        send("setResolutionFromMenu", text);
        EXPECT_EQ(stored("resolutionWidth"), std::nullopt) << text;
    }
    send("setResolutionFromMenu", "99999999999x99999999999");
    EXPECT_EQ(stored("resolutionWidth"), "99999999999") << "stored as chosen, and refused by the session";
    EXPECT_NE(config().virtualWidth, 99999999999);
}

TEST_F(AppActionsTest, WithoutASessionTheStoredResolutionIsShown) {
    machine.stored.setBoolean("autoStart", false);
    launchWithMenu();
    EXPECT_NE(simulated::findItem(menu(), "Resolution — 1024x768"), nullptr);
    machine.stored.write({{"resolutionWidth", int64_t{1600}}, {"resolutionHeight", int64_t{1200}}});
    EXPECT_NE(simulated::findItem(menu(), "Resolution — 1600x1200"), nullptr);
    EXPECT_TRUE(isChecked("1600x1200"));
}

TEST_F(AppActionsTest, StreamingStopsAndTheMenuSaysSo) {
    launchMenuStreaming();
    EXPECT_TRUE(machine.shell.pressKey("."));
    EXPECT_EQ(state(), Kind::idle);
    run(1s);
    EXPECT_EQ(menu().front().title, "Quillon — Stopped");
    EXPECT_FALSE(machine.shell.pressKey(".")) << "nothing left to stop";
    run(30s);
    EXPECT_EQ(state(), Kind::idle);
}

TEST_F(AppActionsTest, TheOverlayIsShownAndHidden) {
    launchMenuStreaming();
    EXPECT_TRUE(choose("Overlay on iPad"));
    EXPECT_EQ(stored("showOverlay"), "false");
    EXPECT_FALSE(config().showOverlay);
    ASSERT_TRUE(eventually([this] { return tablet->ofType(10).back().payload == Bytes{0}; }));
    EXPECT_TRUE(choose("Overlay on iPad"));
    EXPECT_EQ(stored("showOverlay"), "true");
    ASSERT_TRUE(eventually([this] { return tablet->ofType(10).back().payload == Bytes{1}; }));
}

TEST_F(AppActionsTest, ConnectOnLaunchTogglesWhatTheFirstLaunchStored) {
    launchWithMenu();
    EXPECT_EQ(stored("autoStart"), "true");
    EXPECT_TRUE(choose("Connect on Launch"));
    EXPECT_EQ(stored("autoStart"), "false");
    EXPECT_FALSE(isChecked("Connect on Launch"));
    EXPECT_TRUE(choose("Connect on Launch"));
    EXPECT_EQ(stored("autoStart"), "true");
}

TEST_F(AppActionsTest, TheDisplayIsKeptAwakeWhileThatIsWanted) {
    launchWithMenu();
    EXPECT_THAT(machine.shell.wakeLocks, IsEmpty());
    EXPECT_TRUE(choose("Prevent Display from Sleep"));
    EXPECT_EQ(stored("preventSleep"), "true");
    EXPECT_THAT(machine.shell.wakeLocks, ElementsAre("Quillon streaming"));
    EXPECT_TRUE(choose("Extend Display"));  // starts a session, which wants the lock as well
    EXPECT_THAT(machine.shell.wakeLocks, ElementsAre("Quillon streaming")) << "never two";
    EXPECT_TRUE(choose("Prevent Display from Sleep"));
    EXPECT_EQ(stored("preventSleep"), "false");
    EXPECT_THAT(machine.shell.wakeLocks, IsEmpty());
}

TEST_F(AppActionsTest, AStartTakesTheLockThatIsWanted) {
    machine.stored.setBoolean("preventSleep", true);
    machine.stored.setBoolean("autoStart", false);
    launchWithMenu();
    EXPECT_THAT(machine.shell.wakeLocks, IsEmpty());
    EXPECT_TRUE(choose("Extend Display"));
    EXPECT_THAT(machine.shell.wakeLocks, ElementsAre("Quillon streaming"));
}

TEST_F(AppActionsTest, ARefusedLockIsTriedAgain) {
    machine.shell.givesWakeLocks = false;
    launchWithMenu();
    EXPECT_TRUE(choose("Prevent Display from Sleep"));
    EXPECT_THAT(machine.shell.wakeLocks, IsEmpty());
    machine.shell.givesWakeLocks = true;
    EXPECT_TRUE(choose("Extend Display"));
    EXPECT_THAT(machine.shell.wakeLocks, ElementsAre("Quillon streaming"));
}

TEST_F(AppActionsTest, TheLoginItemIsRegisteredAndUnregistered) {
    launchWithMenu();
    EXPECT_FALSE(isChecked("Launch at Login"));
    EXPECT_TRUE(choose("Launch at Login"));
    EXPECT_EQ(machine.shell.login, LoginItem::Status::enabled);
    EXPECT_TRUE(isChecked("Launch at Login"));
    EXPECT_TRUE(choose("Launch at Login"));
    EXPECT_EQ(machine.shell.login, LoginItem::Status::notRegistered);
    EXPECT_FALSE(isChecked("Launch at Login"));
}

TEST_F(AppActionsTest, ALoginItemThatCannotChangeIsLoggedAndShownAsItIs) {
    machine.shell.loginFailure = "read-only file system";
    launchWithMenu();
    EXPECT_TRUE(choose("Launch at Login"));
    EXPECT_EQ(logged("launch at login failed: read-only file system"), 1);
    EXPECT_FALSE(isChecked("Launch at Login"));
}

TEST_F(AppActionsTest, ALoginItemSwitchedOffByTheUserIsRegisteredAgain) {
    machine.shell.login = LoginItem::Status::requiresApproval;
    launchWithMenu();
    EXPECT_FALSE(isChecked("Launch at Login"));
    EXPECT_TRUE(choose("Launch at Login"));
    EXPECT_EQ(machine.shell.login, LoginItem::Status::enabled);
}

TEST_F(AppActionsTest, TheLoginItemIsReadAtLaunch) {
    machine.shell.login = LoginItem::Status::enabled;
    launchWithMenu();
    EXPECT_TRUE(isChecked("Launch at Login"));
}

TEST_F(AppActionsTest, TheFrontEndIsSwitchedForAndBack) {
    launchWithMenu();
    ASSERT_TRUE(machine.shell.item->menu);
    EXPECT_EQ(machine.shell.itemsMade, 1);
    EXPECT_TRUE(choose("Popover menu"));
    EXPECT_EQ(stored("popoverUI"), "true");
    EXPECT_EQ(logged("menu: popover front end"), 1);
    EXPECT_EQ(machine.shell.itemsMade, 2);
    EXPECT_FALSE(machine.shell.item->menu);

    machine.shell.clickItem();
    ASSERT_TRUE(machine.shell.panel);
    EXPECT_TRUE(machine.shell.clickPanel("classicMenu"));
    EXPECT_EQ(stored("popoverUI"), "false");
    EXPECT_EQ(logged("menu: classic front end"), 1);
    EXPECT_EQ(machine.shell.itemsMade, 3);
    EXPECT_TRUE(machine.shell.item->menu);
    EXPECT_FALSE(machine.shell.panel) << "the panel goes with its front end";
}

TEST_F(AppActionsTest, ANewStatusItemShowsTheCurrentState) {
    launchWithMenu();
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    EXPECT_TRUE(choose("Popover menu"));
    EXPECT_EQ(machine.shell.item->look, (StatusItemLook{StatusItemLook::Icon::error, "Quillon error",
                                                        "Quillon — Failed: iPad not reachable"}));
}

TEST_F(AppActionsTest, MissingPermissionsOpenTheirSettings) {
    machine.allowed.capture = false;
    machine.allowed.control = false;
    launchWithMenu();
    EXPECT_TRUE(choose("Screen Recording — Not granted"));
    EXPECT_TRUE(choose("Accessibility — Not granted"));
    EXPECT_THAT(machine.shell.openedPanes,
                ElementsAre(Opener::Pane::screenRecording, Opener::Pane::accessibility));
    machine.allowed.capture = true;
    EXPECT_FALSE(choose("Screen Recording — Granted")) << "nothing left to do";
}

TEST_F(AppActionsTest, SettingsThatCannotBeOpenedAreLogged) {
    machine.allowed.control = false;
    machine.shell.opensThings = false;
    launchWithMenu();
    EXPECT_TRUE(choose("Accessibility — Not granted"));
    EXPECT_EQ(logged("cannot open the system's privacy settings"), 1);
}

TEST_F(AppActionsTest, TheWifiAddressIsAskedForAndStoredTrimmed) {
    launchWithMenu();
    EXPECT_TRUE(choose("Wi-Fi Address…"));
    ASSERT_TRUE(machine.shell.question);
    EXPECT_EQ(machine.shell.question->message, "Wi-Fi address (fallback)");
    EXPECT_EQ(
        machine.shell.question->information,
        "Only needed when Quillon cannot find your device by itself, such as on a network that blocks "
        "Bonjour discovery.\n\nLeave empty in normal use: picking a device in the menu already remembers "
        "its address.");
    EXPECT_EQ(machine.shell.question->text, "");
    EXPECT_FALSE(machine.shell.question->placeholder.empty());
    EXPECT_EQ(machine.shell.question->confirm, "Save");
    EXPECT_EQ(machine.shell.question->cancel, "Cancel");
    machine.shell.answer(" \t10.0.0.9 \n");
    EXPECT_EQ(stored("wifiHost"), "10.0.0.9");
    EXPECT_EQ(logged("wifi host set to 10.0.0.9"), 1);

    EXPECT_TRUE(choose("Wi-Fi Address…"));
    EXPECT_EQ(machine.shell.question->text, "10.0.0.9");
    machine.shell.answer(std::nullopt);
    EXPECT_EQ(stored("wifiHost"), "10.0.0.9") << "cancelled";

    EXPECT_TRUE(choose("Wi-Fi Address…"));
    machine.shell.answer("   ");
    EXPECT_EQ(stored("wifiHost"), "");
    EXPECT_EQ(logged("wifi host set to "), 1);
}

TEST_F(AppActionsTest, ADialogMayOutliveTheApplication) {
    launchWithMenu();
    EXPECT_TRUE(choose("Wi-Fi Address…"));
    delegate.reset();
    machine.shell.answer("10.0.0.9");
    EXPECT_EQ(stored("wifiHost"), std::nullopt);
}

TEST_F(AppActionsTest, TheLogIsOpened) {
    launchWithMenu();
    EXPECT_TRUE(choose("Open Log"));
    EXPECT_THAT(machine.shell.openedFiles, ElementsAre(Log::url()));
    machine.shell.opensThings = false;
    EXPECT_TRUE(choose("Open Log"));
    EXPECT_EQ(logged("cannot open " + Log::url().string()), 1);
}

TEST_F(AppActionsTest, AboutTellsVersionAndPurpose) {
    launchWithMenu();
    EXPECT_TRUE(choose("About Quillon"));
    ASSERT_EQ(machine.shell.told.size(), 1u);
    EXPECT_EQ(machine.shell.told[0].message, "Quillon");
    EXPECT_EQ(
        machine.shell.told[0].information,
        "Version 1.2.3\nTurns an iPad into a second display over USB or Wi-Fi.\n\nTouch \u2192 mouse, drag, "
        "two-finger scroll.\nLog: ~/Library/Logs/Quillon.log");
}

TEST_F(AppActionsTest, ABuildWithoutAVersionIsADevelopersOwn) {
    delegate = std::make_unique<AppDelegate>(machine, *shell, AppDelegate::Details{});
    launchWithMenu();
    EXPECT_TRUE(choose("About Quillon"));
    EXPECT_THAT(machine.shell.told.at(0).information, HasSubstr("Version dev\n"));
}

TEST_F(AppActionsTest, QuitTerminates) {
    launchWithMenu();
    EXPECT_TRUE(machine.shell.pressKey("q"));
    EXPECT_EQ(machine.shell.terminations, 1);
}

}  // namespace
}  // namespace quillon
