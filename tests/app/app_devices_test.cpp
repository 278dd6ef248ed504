#include "tests/app/application_fixture.hpp"

// The device list, the choice from it, and the way back to Automatic.

namespace quillon {
namespace {

using testing::ElementsAre;
using Kind = Session::State::Kind;
using simulated::Listener;

/// A place from which no answer comes: a connect takes as long as the host waits for one.
const Listener kSwallows{.peer = nullptr, .answer = Listener::Answer::refuses, .delay = 4s};

class AppDevicesTest : public ApplicationTest {
  protected:
    /// A device that is announced on the network.
    void announce(const std::string& name, const std::string& host, const std::string& model = {}) {
        simulated::SimulatedServiceBrowser::Announced announced;
        announced.service = {name, 5555, {{2, host}}, {}};
        if (!model.empty()) announced.service.txt["model"] = Bytes(model.begin(), model.end());
        machine.services.services.push_back(announced);
    }
    long scans() const { return loggedBeginning("scan found "); }
    /// The list as it is after a look around that begins now.
    std::vector<std::string> scanned() {
        const long before = loggedBeginning("scan: ");
        MenuItem again;
        again.action = "rescanDevices";
        delegate->perform(again);
        EXPECT_TRUE(eventually([&] { return loggedBeginning("scan: ") > before; }));
        std::vector<std::string> labels;
        for (const DeviceEntry& entry : delegate->deviceEntries()) labels.push_back(logLabel(entry));
        return labels;
    }
    void idleLaunch() {
        machine.stored.setBoolean("autoStart", false);
        launch();
        run(10s);
    }
    void chooseDevice(const std::string& value) {
        MenuItem item;
        item.action = "chooseDevice";
        item.representedObject = value;
        delegate->perform(item);
    }
    /// The application has begun a second ago, and now the user chooses.
    void launchAndChoose(const std::string& value) {
        launch();
        run(1s);
        chooseDevice(value);
    }
    long fallbacks() const { return logged("chosen device unreachable, falling back to Automatic"); }
};

TEST_F(AppDevicesTest, TheListIsRefreshedAtLaunchAndEveryTwentySeconds) {
    machine.stored.setBoolean("autoStart", false);
    launch();
    run(5s);
    EXPECT_EQ(scans(), 1);
    run(18s);
    EXPECT_EQ(scans(), 1);
    run(4s);
    EXPECT_EQ(scans(), 2);
    run(60s);
    EXPECT_EQ(scans(), 5);
}

TEST_F(AppDevicesTest, AScanTellsWhatItFound) {
    machine.attachDevice("tablet-1");
    announce("Studio", "10.0.0.2", "Tablet8,1");
    machine.stored.setString("deviceModel.tablet-1", "Tablet13,8");
    idleLaunch();
    EXPECT_EQ(logged("scan found 1 Wi-Fi endpoint(s)"), 1);
    EXPECT_EQ(logged("scan: Quillon on Tablet13,8 [usb], Studio [wifi]"), 1);
}

TEST_F(AppDevicesTest, ANameFromTheNetworkStaysOnItsLine) {
    announce("Studio\n[1] state: \x1b[2J", "10.0.0.2");
    idleLaunch();
    EXPECT_EQ(logged("scan: Studio\\x0a[1] state: \\x1b[2J [wifi]"), 1);
    chooseDevice("|10.0.0.2");
    EXPECT_EQ(logged("device chosen: Studio\\x0a[1] state: \\x1b[2J"), 1);
}

TEST_F(AppDevicesTest, ADeviceOnBothLinksIsOneEntry) {
    machine.attachDevice("tablet-1");
    announce("Anna's tablet", "10.0.0.2", "Tablet13,8");
    machine.stored.setString("deviceModel.tablet-1", "Tablet13,8");
    idleLaunch();
    EXPECT_EQ(logged("scan: Anna's tablet [usb+wifi]"), 1);
}

TEST_F(AppDevicesTest, ADeviceWhoseAppDoesNotAnswerIsNotListed) {
    machine.attachDevice("tablet-1");
    machine.usb.attached[0].ports[5555].answer = Listener::Answer::hangs;
    machine.attachDevice("tablet-2", 2);
    machine.usb.attached[1].ports[5555].delay = 1100ms;
    machine.attachDevice("tablet-3", 3);
    machine.usb.attached[2].ports[5555].delay = 1300ms;
    machine.attachDevice("tablet-4", 4);
    machine.usb.attached[3].ports[5555].answer = Listener::Answer::refuses;
    idleLaunch();
    EXPECT_EQ(logged("scan: Quillon on …blet-2 [usb]"), 1);
    run(80s);  // the probe that hung has come back, to nobody
    EXPECT_EQ(machine.network.openDescriptors(), 0u);
}

TEST_F(AppDevicesTest, OneSilentDeviceDelaysAScanByTheProbesLimit) {
    machine.attachDevice("tablet-1");
    machine.usb.attached[0].ports[5555].answer = Listener::Answer::hangs;
    machine.stored.setBoolean("autoStart", false);
    const Instant start = machine.loop.now();
    launch();
    ASSERT_TRUE(eventually([] { return loggedBeginning("scan: ") == 1; }));
    EXPECT_GE(machine.loop.now() - start, 5200ms);
    EXPECT_LT(machine.loop.now() - start, 5400ms);
}

TEST_F(AppDevicesTest, TheConnectedDeviceIsListedWithoutBeingProbed) {
    launchStreaming();
    run(10s);
    EXPECT_EQ(tablet->connectedAt.size(), 2u) << "the first look came before the session's link";
    EXPECT_THAT(scanned(), ElementsAre("Quillon on Tablet13,8 [usb]"));
    EXPECT_THAT(scanned(), ElementsAre("Quillon on Tablet13,8 [usb]"));
    EXPECT_EQ(tablet->connectedAt.size(), 2u);
    EXPECT_EQ(state(), Kind::running);
}

TEST_F(AppDevicesTest, NothingIsLookedForWhileTheMenuIsOpen) {
    machine.stored.setBoolean("autoStart", false);
    launchWithMenu();
    run(5s);
    EXPECT_EQ(scans(), 1);
    machine.shell.showMenu();
    run(100s);
    EXPECT_EQ(scans(), 1);
    machine.shell.closeMenu();
    run(30s);
    EXPECT_EQ(scans(), 2);
}

TEST_F(AppDevicesTest, AMenuThatLiesReadyFollowsEachChange) {
    machine.stored.setBoolean("autoStart", false);
    launchWithMenu();
    run(5s);
    announce("Studio", "10.0.0.2");
    scanned();
    const auto ready = [this](const std::string& title) {
        return simulated::findItem(machine.shell.item->menuInStore, title);
    };
    EXPECT_NE(ready("Studio"), nullptr);
    chooseDevice("|10.0.0.2");
    EXPECT_NE(ready("Device — Studio"), nullptr);
    machine.stored.setString("position", "left");
    MenuItem below;
    below.action = "setPositionFromMenu";
    below.representedObject = "below";
    delegate->perform(below);
    EXPECT_TRUE(ready("Below")->checked);
}

TEST_F(AppDevicesTest, AMenuThatIsReplacedWhileOpenDoesNotStopTheScans) {
    machine.stored.setBoolean("autoStart", false);
    launchWithMenu();
    machine.shell.showMenu();
    MenuItem toggle;
    toggle.action = "togglePopoverUI";
    delegate->perform(toggle);
    run(50s);
    EXPECT_GE(scans(), 2);
}

TEST_F(AppDevicesTest, ScanAgainLooksAtOnce) {
    idleLaunch();
    EXPECT_TRUE(scanned().empty());
    announce("Studio", "10.0.0.2");
    EXPECT_THAT(scanned(), ElementsAre("Studio [wifi]"));
    machine.services.services.clear();
    EXPECT_TRUE(scanned().empty()) << "the list is replaced as a whole";
}

TEST_F(AppDevicesTest, ImpatientClicksDoNotPileUp) {
    idleLaunch();
    const long before = scans();
    machine.shell.clickItem();
    for (int i = 0; i < 10; ++i) {
        machine.shell.clickPanel("rescan");
        run(10ms);
    }
    run(9s);
    EXPECT_EQ(scans(), before + 2) << "one under way, one that waited";
}

TEST_F(AppDevicesTest, AShownPanelGetsTheNewList) {
    idleLaunch();
    machine.shell.clickItem();
    EXPECT_EQ(row("device").pills.size(), 1u);
    announce("Studio", "10.0.0.2");
    scanned();
    ASSERT_EQ(row("device").pills.size(), 2u);
    EXPECT_EQ(row("device").pills[1],
              (PanelPill{.value = "|10.0.0.2", .label = "Studio", .detail = "Wi-Fi only"}));
}

TEST_F(AppDevicesTest, AChoiceIsStoredAndHandedToTheSession) {
    machine.stored.setBoolean("popoverUI", false);
    tablet = machine.attachDevice("tablet-1");
    announce("Studio", "10.0.0.2");
    const auto studio = machine.addNetworkDevice("10.0.0.2:5555");
    launch();
    ASSERT_TRUE(eventuallyRunning());
    run(6s);

    EXPECT_TRUE(choose("Studio"));
    EXPECT_EQ(stored("target.udid"), std::nullopt);
    EXPECT_EQ(stored("target.host"), "10.0.0.2");
    EXPECT_EQ(logged("device chosen: Studio"), 1);
    EXPECT_EQ(logged("target set to 10.0.0.2"), 1);
    EXPECT_EQ(delegate->session().config().targetHost, "10.0.0.2");
    EXPECT_NE(simulated::findItem(menu(), "Device — Studio"), nullptr);

    EXPECT_TRUE(choose("Automatic"));
    EXPECT_EQ(stored("target.host"), std::nullopt);
    EXPECT_EQ(logged("device chosen: Automatic"), 1);
    EXPECT_NE(simulated::findItem(menu(), "Device — Automatic"), nullptr);
}

TEST_F(AppDevicesTest, ADeviceOnBothLinksIsChosenWithBoth) {
    machine.attachDevice("tablet-1");
    announce("Anna's tablet", "10.0.0.2", "Tablet13,8");
    machine.stored.setString("deviceModel.tablet-1", "Tablet13,8");
    idleLaunch();
    machine.shell.clickItem();
    EXPECT_TRUE(machine.shell.clickPanel("device", "tablet-1|10.0.0.2"));
    EXPECT_EQ(stored("target.udid"), "tablet-1");
    EXPECT_EQ(stored("target.host"), "10.0.0.2");
    EXPECT_EQ(selected("device"), "tablet-1|10.0.0.2");
    EXPECT_EQ(row("device").pills[1].detail, "USB + Wi-Fi");
}

TEST_F(AppDevicesTest, AChosenDeviceThatIsAwayKeepsItsName) {
    machine.stored.setString("target.udid", "tablet-1");
    idleLaunch();
    EXPECT_EQ(delegate->popoverSnapshot().deviceName, "Quillon on …blet-1");
    EXPECT_EQ(delegate->popoverSnapshot().selectedDevice, -1);
    machine.stored.setString("deviceModel.tablet-1", "Tablet13,8");
    EXPECT_EQ(delegate->popoverSnapshot().deviceName, "Quillon on Tablet13,8");
    machine.stored.write({{"target.udid", std::nullopt}, {"target.host", std::string("10.0.0.2")}});
    EXPECT_EQ(delegate->popoverSnapshot().deviceName, "Quillon on 10.0.0.2");
}

TEST_F(AppDevicesTest, AnUnreachableChoiceFallsBackAfterFifteenSeconds) {
    launchAndChoose("tablet-9|");
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    EXPECT_EQ(stored("target.udid"), "tablet-9");
    ASSERT_TRUE(eventually([&] { return fallbacks() == 1; }, 15s));
    EXPECT_EQ(stored("target.udid"), std::nullopt);
    EXPECT_EQ(stored("target.host"), std::nullopt);
    EXPECT_EQ(logged("target set to default"), 1);

    tablet = machine.attachDevice("tablet-1");
    EXPECT_TRUE(eventuallyRunning()) << "whatever device there is";
}

TEST_F(AppDevicesTest, AnAddressThatRefusesFallsBackAfterFifteenSeconds) {
    machine.network.tcpListeners["10.0.0.2:5555"].answer = Listener::Answer::refuses;
    launchAndChoose("|10.0.0.2");
    run(14900ms);
    EXPECT_EQ(stored("target.host"), "10.0.0.2");
    run(200ms);
    EXPECT_EQ(stored("target.host"), std::nullopt);
    EXPECT_EQ(fallbacks(), 1);
}

TEST_F(AppDevicesTest, AnAddressThatSwallowsEverythingFallsBackWhenTheSessionGivesUp) {
    machine.network.tcpListeners["10.0.0.2:5555"] = kSwallows;
    launchAndChoose("|10.0.0.2");
    run(20s);
    EXPECT_EQ(state(), Kind::starting) << "each attempt takes its time";
    EXPECT_EQ(stored("target.host"), "10.0.0.2");
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    EXPECT_EQ(stored("target.host"), std::nullopt);
    EXPECT_EQ(fallbacks(), 1);
    tablet = machine.attachDevice("tablet-1");
    EXPECT_TRUE(eventuallyRunning()) << "whatever device there is";
}

TEST_F(AppDevicesTest, AChoiceThatIsReachedLateStays) {
    Listener& listener = machine.network.tcpListeners["10.0.0.2:5555"] = kSwallows;
    launchAndChoose("|10.0.0.2");
    run(20s);
    EXPECT_EQ(state(), Kind::starting);
    tablet = machine.addNetworkDevice("10.0.0.2:5555");
    ASSERT_TRUE(eventuallyRunning());
    listener.answer = Listener::Answer::refuses;
    tablet->disconnect();
    ASSERT_TRUE(eventuallyIs(Kind::failed));
    run(30s);
    EXPECT_EQ(stored("target.host"), "10.0.0.2") << "a device that has been reached comes back";
    EXPECT_EQ(fallbacks(), 0);
}

TEST_F(AppDevicesTest, AChoiceThatWorksStays) {
    tablet = machine.attachDevice("tablet-1");
    launch();
    ASSERT_TRUE(eventuallyRunning());
    chooseDevice("tablet-1|");
    run(60s);
    EXPECT_EQ(state(), Kind::running);
    EXPECT_EQ(stored("target.udid"), "tablet-1");
    EXPECT_EQ(fallbacks(), 0);
}

TEST_F(AppDevicesTest, ALaterChoiceHasItsOwnFifteenSeconds) {
    launchAndChoose("tablet-8|");
    run(10s);
    chooseDevice("tablet-9|");
    run(10s);
    EXPECT_EQ(stored("target.udid"), "tablet-9");
    run(6s);
    EXPECT_EQ(stored("target.udid"), std::nullopt);
}

TEST_F(AppDevicesTest, AutomaticHasNothingToFallBackFrom) {
    launchAndChoose("");
    run(60s);
    EXPECT_EQ(state(), Kind::failed);
    EXPECT_EQ(fallbacks(), 0);
}

TEST_F(AppDevicesTest, AStoppedSessionDoesNotFallBack) {
    machine.stored.setBoolean("autoStart", false);
    launch();
    chooseDevice("tablet-9|");
    run(60s);
    EXPECT_EQ(state(), Kind::idle) << "a choice starts nothing by itself";
    EXPECT_EQ(stored("target.udid"), "tablet-9");
}

}  // namespace
}  // namespace quillon
