#include "tests/session/session_fixture.hpp"

namespace quillon {
namespace {

using simulated::Listener;

/// A cabled device, two hosts on the network, one of them announced: which does the session choose?
class LinkChoiceTest : public SessionTest {
  protected:
    LinkChoiceTest() {
        machine.attachDevice("tablet-1");
        machine.addNetworkDevice("192.168.1.30:5555");
        machine.addNetworkDevice("192.168.1.31:5555");
        machine.addNetworkDevice("10.0.0.7:6000");
        machine.services.services.push_back({{"Tablet", 6000, {{2, "10.0.0.7"}}, {}}});
    }

    static Session::Config choosing(Transport transport) {
        Session::Config config = mirroring();
        config.transport = transport;
        return config;
    }
    std::string linkOf(const Session::Config& config) {
        session->start(config);
        const bool ended = machine.loop.runUntil(
            [this] {
                return session->state().isRunning() || session->state().kind == Session::State::Kind::failed;
            },
            120s);
        EXPECT_TRUE(ended);
        return session->activeTransport();
    }
    void unplug() { machine.usb.attached.clear(); }
    Listener& cabledApp() { return machine.usb.attached.front().ports.begin()->second; }
    Listener& app(const std::string& address) { return machine.network.tcpListeners.at(address); }
    std::vector<Instant> connectionsTo(const std::string& address) {
        return std::dynamic_pointer_cast<simulated::Device>(app(address).peer)->connectedAt;
    }
    /// The cable of a device comes in again.
    void plug() { machine.attachDevice("tablet-1"); }
};

TEST_F(LinkChoiceTest, AnExplicitHostComesBeforeEverything) {
    Session::Config config = choosing(Transport::usb);
    config.tcpHost = "10.0.0.7";
    config.tcpPort = 6000;
    config.targetHost = "192.168.1.30";
    EXPECT_EQ(linkOf(config), "Wi-Fi (10.0.0.7)");
}

TEST_F(LinkChoiceTest, TheCableComesBeforeTheHosts) {
    Session::Config config = choosing(Transport::auto_);
    config.targetHost = "192.168.1.30";
    config.wifiHost = "192.168.1.31";
    EXPECT_EQ(linkOf(config), "USB");
    EXPECT_EQ(machine.services.searches, 0);
}

TEST_F(LinkChoiceTest, TheChosenHostComesBeforeTheRememberedOne) {
    unplug();
    Session::Config config = choosing(Transport::auto_);
    config.targetHost = "192.168.1.30";
    config.wifiHost = "192.168.1.31";
    EXPECT_EQ(linkOf(config), "Wi-Fi (192.168.1.30)");
}

TEST_F(LinkChoiceTest, TheRememberedHostComesBeforeDiscovery) {
    unplug();
    Session::Config config = choosing(Transport::auto_);
    config.wifiHost = "192.168.1.31";
    EXPECT_EQ(linkOf(config), "Wi-Fi (192.168.1.31)");
    EXPECT_EQ(machine.services.searches, 0);
}

TEST_F(LinkChoiceTest, ARememberedHostThatIsGoneLeadsToDiscovery) {
    unplug();
    Session::Config config = choosing(Transport::auto_);
    config.wifiHost = "192.168.1.99";
    EXPECT_EQ(linkOf(config), "Wi-Fi (10.0.0.7)");
}

TEST_F(LinkChoiceTest, AnEmptyRememberedHostIsNone) {
    unplug();
    Session::Config config = choosing(Transport::wifi);
    config.wifiHost = "";
    EXPECT_EQ(linkOf(config), "Wi-Fi (10.0.0.7)");
    EXPECT_EQ(machine.services.searches, 1);
}

TEST_F(LinkChoiceTest, ACableOnWhichNobodyListensLeadsToTheHost) {
    cabledApp().answer = Listener::Answer::refuses;
    Session::Config config = choosing(Transport::auto_);
    config.wifiHost = "192.168.1.31";
    EXPECT_EQ(linkOf(config), "Wi-Fi (192.168.1.31)");
}

TEST_F(LinkChoiceTest, ACableThatHangsLeadsToTheHostAfterFourSeconds) {
    cabledApp().answer = Listener::Answer::hangs;
    Session::Config config = choosing(Transport::auto_);
    config.wifiHost = "192.168.1.31";
    const Instant begin = machine.machine.now();
    EXPECT_EQ(linkOf(config), "Wi-Fi (192.168.1.31)");
    EXPECT_NEAR(toSeconds(machine.machine.now() - begin), 4, 0.5);
    EXPECT_EQ(logged("usb connect timed out after 4s"), 1);
}

TEST_F(LinkChoiceTest, AnAttemptThatIsNoLongerWantedTakesNoFurtherStep) {
    Session::Config config = choosing(Transport::auto_);
    config.wifiHost = "192.168.1.31";
    for (const std::string way : {"restart", "stop and start", "stop"}) {
        SCOPED_TRACE(way);
        cabledApp().answer = Listener::Answer::hangs;
        session->start(config);
        run(1s);
        cabledApp().answer = Listener::Answer::accepts;
        if (way == "restart") {
            session->restart();
        } else {
            session->stop();
            if (way == "stop and start") session->start(config);
        }
        run(20s);
        EXPECT_EQ(machine.services.searches, 0);
        EXPECT_TRUE(connectionsTo("192.168.1.31:5555").empty());
        EXPECT_EQ(session->state().isRunning(), way != "stop");
        session->stop();
        run(1s);
        EXPECT_EQ(machine.network.openDescriptors(), 0U);
    }
}

TEST_F(LinkChoiceTest, AHostThatHangsLeadsToDiscoveryAfterFourSeconds) {
    unplug();
    app("192.168.1.31:5555").answer = Listener::Answer::hangs;
    Session::Config config = choosing(Transport::auto_);
    config.wifiHost = "192.168.1.31";
    EXPECT_EQ(linkOf(config), "Wi-Fi (10.0.0.7)");
    EXPECT_EQ(logged("tcp connect to 192.168.1.31 timed out after 4s"), 1);
}

TEST_F(LinkChoiceTest, OverWiFiTheCableIsNotUsed) {
    EXPECT_EQ(linkOf(choosing(Transport::wifi)), "Wi-Fi (10.0.0.7)");
}

TEST_F(LinkChoiceTest, OverTheCableNoHostAndNoDiscoveryIsUsed) {
    unplug();
    Session::Config config = choosing(Transport::usb);
    config.targetHost = "192.168.1.30";
    config.wifiHost = "192.168.1.31";
    const Instant begin = machine.machine.now();
    EXPECT_EQ(linkOf(config), "");
    EXPECT_EQ(session->state(), Session::State::failed("iPad not reachable"));
    EXPECT_EQ(machine.services.searches, 0);
    EXPECT_NEAR(toSeconds(machine.machine.now() - begin), 9 * 0.6, 0.2);
}

TEST_F(LinkChoiceTest, AChosenDeviceThatIsGoneStillLeadsToTheRememberedHost) {
    unplug();
    Session::Config config = choosing(Transport::auto_);
    config.targetUDID = "tablet-9";
    config.wifiHost = "192.168.1.31";
    EXPECT_EQ(linkOf(config), "Wi-Fi (192.168.1.31)");
}

TEST_F(LinkChoiceTest, AChosenHostIsReachedAtTheDevicesPort) {
    unplug();
    machine.addNetworkDevice("192.168.1.30:7777");
    Session::Config config = choosing(Transport::auto_);
    config.targetHost = "192.168.1.30";
    config.port = 7777;
    config.tcpPort = 1;
    app("192.168.1.30:5555").answer = Listener::Answer::refuses;
    EXPECT_EQ(linkOf(config), "Wi-Fi (192.168.1.30)");
}

TEST_F(LinkChoiceTest, AmongTwoCabledDevicesNoneIsChosen) {
    machine.attachDevice("tablet-2", 2);
    EXPECT_EQ(linkOf(choosing(Transport::auto_)), "Wi-Fi (10.0.0.7)");
    run(10s);
    EXPECT_EQ(session->activeTransport(), "Wi-Fi (10.0.0.7)");
}

TEST_F(LinkChoiceTest, TheCableTakesOverWithinThreeAndAHalfSecondsWheneverItComes) {
    for (Duration wait = 5s; wait < 8s; wait += 700ms) {
        unplug();
        session->stop();
        ASSERT_EQ(linkOf(choosing(Transport::auto_)), "Wi-Fi (10.0.0.7)");
        run(wait);
        plug();
        const Instant plugged = machine.machine.now();
        ASSERT_TRUE(eventually([this] { return session->isTransitioning(); }));
        EXPECT_LE(toSeconds(machine.machine.now() - plugged), 3.5);
        ASSERT_TRUE(eventuallyRunning());
        EXPECT_EQ(session->activeTransport(), "USB");
        EXPECT_LE(toSeconds(machine.machine.now() - plugged), 3.5 + 2);
    }
}

TEST_F(LinkChoiceTest, OverWiFiAloneNoCableTakesOver) {
    unplug();
    ASSERT_EQ(linkOf(choosing(Transport::wifi)), "Wi-Fi (10.0.0.7)");
    plug();
    run(20s);
    EXPECT_EQ(session->activeTransport(), "Wi-Fi (10.0.0.7)");
}

TEST_F(LinkChoiceTest, TheCableOfAnotherDeviceMakesTheSessionChooseAgainWhenTheChosenOneIsAbsent) {
    unplug();
    Session::Config config = choosing(Transport::auto_);
    config.targetUDID = "tablet-9";
    config.wifiHost = "192.168.1.31";
    ASSERT_EQ(linkOf(config), "Wi-Fi (192.168.1.31)");
    plug();
    ASSERT_TRUE(eventually([] { return loggedBeginning("auto: cable detected for tablet-1") > 0; }, 4s));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->activeTransport(), "Wi-Fi (192.168.1.31)")
        << "the choice still excludes the other cable";
}

TEST_F(LinkChoiceTest, TheChosenDevicesCableTakesOverAmongSeveral) {
    unplug();
    Session::Config config = choosing(Transport::auto_);
    config.targetUDID = "tablet-2";
    config.wifiHost = "192.168.1.31";
    ASSERT_EQ(linkOf(config), "Wi-Fi (192.168.1.31)");
    plug();
    machine.attachDevice("tablet-2", 2);
    ASSERT_TRUE(eventually([] { return loggedBeginning("auto: cable detected for tablet-2") > 0; }, 4s));
}

TEST_F(LinkChoiceTest, AnAutomaticSwitchKeepsTheVirtualDisplay) {
    unplug();
    Session::Config config = choosing(Transport::auto_);
    config.mirror = false;
    ASSERT_EQ(linkOf(config), "Wi-Fi (10.0.0.7)");
    const auto displays = machine.screens.active();
    plug();
    ASSERT_TRUE(eventually([this] { return session->activeTransport() == "USB"; }));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(machine.screens.active(), displays);
}

}  // namespace
}  // namespace quillon
