#include <gmock/gmock.h>

#include "tests/session/session_fixture.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {
namespace {

using testing::ElementsAre;

class LiveSettingsTest : public SessionTest {
  protected:
    LiveSettingsTest() : device(machine.attachDevice("tablet-1")) {}

    void start(const Session::Config& config) {
        session->start(config);
        ASSERT_TRUE(eventuallyRunning());
        run(100ms);
        device->messages.clear();
    }
    static Session::Config extending() {
        Session::Config config;
        config.transport = Transport::usb;
        return config;
    }
    Session::Config mirroringOverWiFi() {
        machine.network.tcpListeners["192.168.1.30:5555"] = {device};
        Session::Config config = mirroring();
        config.transport = Transport::wifi;
        config.wifiHost = "192.168.1.30";
        return config;
    }
    size_t links() const { return device->connectedAt.size(); }

    const std::shared_ptr<simulated::Device> device;
};

// --- quality

TEST_F(LiveSettingsTest, TheSameQualityTwiceRestartsOnce) {
    start(mirroring());
    session->setQuality(StreamQuality::fast);
    EXPECT_EQ(logged("quality set to Fast"), 1);
    EXPECT_TRUE(session->isTransitioning());
    ASSERT_TRUE(eventuallyRunning());
    session->setQuality(StreamQuality::fast);
    EXPECT_FALSE(session->isTransitioning());
    run(5s);
    EXPECT_EQ(links(), 2U);
    EXPECT_EQ(logged("quality set to Fast"), 1);
    EXPECT_EQ(machine.encoder.settings.back().width, 1024);
}

TEST_F(LiveSettingsTest, TheFirstQualityRestartsEvenWhenItIsInForce) {
    start(mirroring());
    session->setQuality(StreamQuality::best);
    ASSERT_TRUE(eventuallyRunning());
    run(1s);
    EXPECT_EQ(links(), 2U);
}

TEST_F(LiveSettingsTest, QualityIsRememberedForTheLinkInUse) {
    start(mirroring());
    session->setQuality(StreamQuality::balanced);
    EXPECT_EQ(session->config().qualityUSB, StreamQuality::balanced);
    EXPECT_EQ(session->config().qualityWiFi, StreamQuality::fast);
    EXPECT_EQ(session->config().quality, StreamQuality::balanced);
}

TEST_F(LiveSettingsTest, OverWiFiTheWiFiQualityIsSet) {
    start(mirroringOverWiFi());
    session->setQuality(StreamQuality::balanced);
    EXPECT_EQ(session->config().qualityUSB, StreamQuality::best);
    EXPECT_EQ(session->config().qualityWiFi, StreamQuality::balanced);
    session->setSmoothing(1);
    EXPECT_EQ(session->config().smoothWiFi, 1);
    EXPECT_EQ(session->config().smoothUSB, 0);
}

TEST_F(LiveSettingsTest, AQualityThatAnotherLinkHasReplacedCanBeSetAgain) {
    Session::Config config = mirroringOverWiFi();
    config.transport = Transport::auto_;
    start(config);
    ASSERT_EQ(session->activeTransport(), "USB");
    session->setQuality(StreamQuality::balanced);
    ASSERT_TRUE(eventuallyRunning());
    session->setTransport(Transport::wifi);
    ASSERT_TRUE(eventuallyRunning());
    ASSERT_EQ(session->config().quality, StreamQuality::fast);
    session->setQuality(StreamQuality::balanced);
    ASSERT_TRUE(eventuallyRunning());
    run(1s);
    EXPECT_EQ(machine.encoder.settings.back().width, 1536);
}

TEST_F(LiveSettingsTest, AQualityRefusedByATransitionIsUsedByTheNextStartUp) {
    start(mirroring());
    session->restart();
    session->setQuality(StreamQuality::fast);
    EXPECT_EQ(logged("quality set to Fast"), 1);
    EXPECT_EQ(logged("transition already in progress, ignoring"), 1);
    ASSERT_TRUE(eventuallyRunning());
    run(5s);
    EXPECT_EQ(links(), 2U);
    EXPECT_EQ(machine.encoder.settings.back().width, 1024);
}

// --- scaling

TEST_F(LiveSettingsTest, AScalingRestartsARunningSessionWhenItDiffers) {
    start(mirroring());
    session->setScaling(Scaling::stretch);
    EXPECT_EQ(logged("scaling set to Stretch"), 1);
    EXPECT_EQ(session->effectiveScaling(), Scaling::stretch);
    ASSERT_TRUE(eventuallyRunning());
    run(1s);
    EXPECT_EQ(links(), 2U);
    EXPECT_EQ(device->ofType(8).back().text(), "Mirror | Smooth Off | Stretch");
}

TEST_F(LiveSettingsTest, TheScalingInForceBecomesTheUsersChoice) {
    start(mirroring());
    session->setScaling(Scaling::fit);
    EXPECT_TRUE(session->config().scalingExplicit);
    EXPECT_EQ(loggedBeginning("scaling set"), 0);
    run(5s);
    EXPECT_EQ(links(), 1U);
    device->send(12, viewOf(std::string("2048x2732")));
    run(3s);
    EXPECT_EQ(session->effectiveScaling(), Scaling::fit) << "no longer chosen by the panel's shape";
}

TEST_F(LiveSettingsTest, TheConfiguredScalingChosenAgainstTheAutomaticOneIsUsedByTheNextStart) {
    device->greeting = "Tablet 2 Tablet13,8 x 2048x2732\n";
    start(mirroring());
    ASSERT_EQ(session->effectiveScaling(), Scaling::fill);
    session->setScaling(Scaling::fit);
    run(5s);
    EXPECT_EQ(links(), 1U);
    EXPECT_EQ(session->effectiveScaling(), Scaling::fill) << "as the stream and the device have it";
    session->restart();
    ASSERT_TRUE(eventuallyRunning());
    run(100ms);
    EXPECT_EQ(session->effectiveScaling(), Scaling::fit);
    EXPECT_EQ(device->ofType(8).back().text(), "Mirror | Smooth Off | Fit");
}

TEST_F(LiveSettingsTest, AScalingSetWhileStartingTakesPartInTheNextStart) {
    session->start(mirroring());
    session->setScaling(Scaling::fill);
    EXPECT_EQ(logged("scaling set to Fill (crop)"), 1);
    ASSERT_TRUE(eventuallyRunning());
    run(1s);
    EXPECT_EQ(links(), 1U);
    EXPECT_EQ(device->ofType(8).back().text(), "Mirror | Smooth Off | Fill");
}

// --- smoothing and overlay

TEST_F(LiveSettingsTest, SmoothingIsToldToTheDevice) {
    start(mirroring());
    session->setSmoothing(400);
    run(100ms);
    ASSERT_EQ(device->ofType(5).size(), 1U);
    EXPECT_EQ(device->ofType(5)[0].payload, Bytes{255});
    EXPECT_EQ(device->ofType(8).back().text(), "Mirror | Smooth On | Fit");
    EXPECT_EQ(logged("smoothness set to 400 frame(s)"), 1);
    EXPECT_EQ(session->config().smoothUSB, 400);
    session->setSmoothing(0);
    run(100ms);
    EXPECT_EQ(device->ofType(5).back().payload, Bytes{0});
    EXPECT_EQ(device->ofType(8).back().text(), "Mirror | Smooth Off | Fit");
    session->setSmoothing(-7);
    run(100ms);
    EXPECT_EQ(device->ofType(5).back().payload, Bytes{0});
    EXPECT_EQ(links(), 1U);
}

TEST_F(LiveSettingsTest, TheOverlayIsToldToTheDevice) {
    start(mirroring());
    session->setOverlayVisible(false);
    run(100ms);
    ASSERT_EQ(device->ofType(10).size(), 1U);
    EXPECT_EQ(device->ofType(10)[0].payload, Bytes{0});
    EXPECT_EQ(logged("overlay on device: off"), 1);
    session->setOverlayVisible(true);
    run(100ms);
    EXPECT_EQ(device->ofType(10)[1].payload, Bytes{1});
    EXPECT_EQ(logged("overlay on device: on"), 1);
    EXPECT_EQ(links(), 1U);
}

TEST_F(LiveSettingsTest, WithoutALinkNothingIsToldAndNothingLogged) {
    machine.usb.attached.clear();
    session->start(mirroring());
    run(1s);
    const auto before = log();
    session->setOverlayVisible(false);
    session->setSmoothing(2);
    EXPECT_EQ(log(), before);
    EXPECT_FALSE(session->config().showOverlay);
    EXPECT_EQ(session->config().smoothness, 2);
    EXPECT_EQ(session->config().smoothUSB, 2);
}

// --- transport

TEST_F(LiveSettingsTest, ATransportRestartsWhenItDiffers) {
    start(mirroring());
    session->setTransport(Transport::usb);
    EXPECT_EQ(loggedBeginning("transport set"), 0);
    session->setTransport(Transport::auto_);
    EXPECT_EQ(logged("transport set to auto"), 1);
    ASSERT_TRUE(eventuallyRunning());
    run(1s);
    EXPECT_EQ(links(), 2U);
    EXPECT_EQ(session->config().transport, Transport::auto_);
}

// --- position

TEST_F(LiveSettingsTest, APositionMovesTheVirtualDisplay) {
    start(extending());
    session->setPosition("below");
    ASSERT_TRUE(eventually([&] { return logged("position=below applied to display 101") == 1; }));
    EXPECT_EQ(machine.screens.find(101)->bounds.x, 0);
    EXPECT_EQ(machine.screens.find(101)->bounds.y, 1080);
    EXPECT_EQ(session->config().position, "below");
    EXPECT_EQ(links(), 1U);
}

TEST_F(LiveSettingsTest, APositionBreaksAStaleMirrorFirst) {
    start(extending());
    machine.screens.find(101)->mirroring = {true, 1};
    session->setPosition("left");
    ASSERT_TRUE(eventually([&] { return logged("position=left applied to display 101") == 1; }));
    EXPECT_EQ(logged("broke stale mirror on display 101"), 1);
    EXPECT_FALSE(machine.screens.find(101)->mirroring.inMirrorSet);
}

TEST_F(LiveSettingsTest, APositionWhileMirroringIsOnlyStored) {
    start(mirroring());
    const auto before = log();
    session->setPosition("above");
    run(1s);
    EXPECT_EQ(session->config().position, "above");
    EXPECT_EQ(log(), before);
}

TEST_F(LiveSettingsTest, OnlyTheVirtualDisplayIsMoved) {
    Session::Config config = extending();
    config.virtual_ = false;
    start(config);
    session->setPosition("above");
    run(1s);
    EXPECT_EQ(machine.screens.find(1)->bounds, (Rect{0, 0, 1920, 1080}));
}

// --- mirror and target

TEST_F(LiveSettingsTest, AMirrorChangeDuringATransitionIsLoggedAsQueued) {
    Session::Config config = mirroring();
    config.mirror = false;
    start(config);
    session->restart();
    session->setMirror(true);
    EXPECT_EQ(logged("switch to mirror queued"), 1);
    ASSERT_TRUE(eventually([&] { return logged("running queued switch to mirror") == 1; }));
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_EQ(session->state(), Session::State::running("Mirroring main display · USB"));
}

TEST_F(LiveSettingsTest, ATargetWithoutDeviceAndHostIsTheDefault) {
    start(mirroring());
    session->setTarget(std::nullopt, std::nullopt);
    EXPECT_EQ(logged("target set to default"), 1);
    EXPECT_TRUE(session->isTransitioning());
}

TEST_F(LiveSettingsTest, AHostIsNamedBeforeADevice) {
    start(mirroring());
    session->setTarget("tablet-1", "10.0.0.7");
    EXPECT_EQ(logged("target set to 10.0.0.7"), 1);
    EXPECT_EQ(session->config().targetUDID, "tablet-1");
    EXPECT_EQ(session->config().targetHost, "10.0.0.7");
}

// --- an idle session

TEST_F(LiveSettingsTest, AnIdleSessionKeepsTheChoicesAndStaysIdle) {
    start(mirroring());
    session->stop();
    session->setQuality(StreamQuality::fast);
    session->setScaling(Scaling::fill);
    session->setTransport(Transport::auto_);
    session->setMirror(false);
    session->setTarget("tablet-2", std::nullopt);
    session->setPosition("left");
    session->setSmoothing(2);
    session->setOverlayVisible(false);
    run(60s);
    EXPECT_EQ(session->state(), Session::State::idle());
    EXPECT_FALSE(session->isTransitioning());
    EXPECT_EQ(links(), 1U);
    EXPECT_EQ(machine.network.openDescriptors(), 0U);
}

TEST_F(LiveSettingsTest, AQueuedChangeDoesNotOutliveTheRun) {
    start(mirroring());
    session->restart();
    session->setMirror(false);
    session->setTarget("tablet-2", std::nullopt);
    session->stop();
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    run(20s);
    EXPECT_EQ(links(), 2U);
    EXPECT_TRUE(session->config().mirror);
    EXPECT_FALSE(session->config().targetUDID);
}

// --- resolutions

TEST_F(LiveSettingsTest, WithoutAVirtualDisplayThereAreNoResolutions) {
    start(mirroring());
    EXPECT_TRUE(session->availableResolutions().empty());
    const auto before = log();
    session->setResolution(1024, 768);
    EXPECT_EQ(log(), before);
}

TEST_F(LiveSettingsTest, AResolutionChangesModePlaceAndSettingsLine) {
    machine.virtualScreens.hiDPI = false;
    Session::Config config = extending();
    config.position = "left";
    start(config);
    session->setResolution(1024, 768);
    ASSERT_TRUE(eventually([&] { return machine.screens.find(101)->bounds == Rect{-1024, 0, 1024, 768}; }));
    EXPECT_EQ(logged("resolution set to 1024x768 (capture 2048x1536)"), 1);
    EXPECT_EQ(session->config().virtualWidth, 1024);
    EXPECT_EQ(session->config().virtualHeight, 768);
    run(100ms);
    EXPECT_EQ(device->ofType(8).back().text(), "1024×768 | Smooth Off | Fit");
    EXPECT_EQ(links(), 1U);
}

TEST_F(LiveSettingsTest, AResolutionThatIsNotOfferedChangesNothing) {
    start(extending());
    const Session::Config before = session->config();
    session->setResolution(1111, 777);
    EXPECT_EQ(logged("resolution 1111x777 not offered"), 1);
    EXPECT_EQ(session->config().virtualSize(), before.virtualSize());
}

}  // namespace
}  // namespace quillon
