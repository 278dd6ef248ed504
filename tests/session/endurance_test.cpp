#include <gmock/gmock.h>

#include <array>
#include <random>

#include "session/desktop_rules.hpp"
#include "tests/session/session_fixture.hpp"

namespace quillon {
namespace {

using namespace std::chrono_literals;

/// What the user asked for last.
struct Wishes {
    std::optional<Scaling> scaling;
    bool overlay = true;
    Transport transport = Transport::auto_;
    bool mirror = false;
    std::optional<std::string> udid;
    std::optional<std::string> host;
    std::string position = "right";
};

/// A user who cannot decide, in a world that does not hold still.
class Restlessness {
  public:
    Restlessness(unsigned seed, Session& session, Wishes& wishes)
        : random_(seed), session_(session), wishes_(wishes) {}

    int upTo(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }

    void changeASetting() {
        switch (upTo(9)) {
            case 0:
                session_.setQuality(static_cast<StreamQuality>(upTo(3)));
                break;
            case 1:
                wishes_.scaling = static_cast<Scaling>(upTo(3));
                session_.setScaling(*wishes_.scaling);
                break;
            case 2:
                session_.setSmoothing(upTo(6));
                break;
            case 3:
                wishes_.overlay = upTo(2) != 0;
                session_.setOverlayVisible(wishes_.overlay);
                break;
            case 4:
                wishes_.transport = static_cast<Transport>(upTo(3));
                session_.setTransport(wishes_.transport);
                break;
            case 5:
                wishes_.mirror = upTo(2) != 0;
                session_.setMirror(wishes_.mirror);
                break;
            case 6:
                changeTarget();
                break;
            case 7:
                wishes_.position = kPositions[static_cast<size_t>(upTo(4))];
                session_.setPosition(wishes_.position);
                break;
            default:
                changeResolution();
                break;
        }
    }

  private:
    static constexpr std::array<const char*, 4> kPositions{"left", "right", "above", "below"};

    void changeTarget() {
        const int choice = upTo(3);
        wishes_.udid = choice == 1 ? std::optional<std::string>("tablet-1") : std::nullopt;
        wishes_.host = choice == 2 ? std::optional<std::string>("192.168.1.30") : std::nullopt;
        session_.setTarget(wishes_.udid, wishes_.host);
    }
    void changeResolution() {
        const auto offered = session_.availableResolutions();
        if (offered.empty()) return;
        const Size size = offered[static_cast<size_t>(upTo(static_cast<int>(offered.size())))];
        session_.setResolution(size.width, size.height);
    }

    std::mt19937 random_;
    Session& session_;
    Wishes& wishes_;
};

class EnduranceTest : public SessionTest {
  protected:
    static constexpr auto kHost = "192.168.1.30";

    EnduranceTest() {
        machine.virtualScreens.hiDPI = false;
        machine.network.tcpListeners[std::string(kHost) + ":5555"] = {device};
        device->keepsPayloads = false;
    }

    void hangUp() { device->disconnect(); }

    /// One thing that happens to the user's desk.
    void disturb(Restlessness& chance) {
        static constexpr std::array<const char*, 5> kPanels{"2732x2048", "2048x2732", "2388x1668",
                                                            "1668x2388", "nonsense"};
        switch (chance.upTo(7)) {
            case 0:
                hangUp();
                break;
            case 1:
                machine.usb.attached.clear();
                hangUp();
                break;
            case 2:
                machine.usb.attached = attached;
                break;
            case 3:
                device->send(12, viewOf(std::string_view(kPanels[static_cast<size_t>(chance.upTo(5))])));
                break;
            case 4:
                machine.screenCapture.end("the display blinked");
                break;
            case 5:
                machine.screenCapture.animate(chance.upTo(8));
                break;
            default:
                machine.network.setPath(device->current, simulated::Network::Path::lost);
        }
    }

    void expectGranted(const Wishes& wishes) {
        const Session::Config& now = session->config();
        EXPECT_EQ(now.mirror, wishes.mirror);
        EXPECT_EQ(now.targetUDID, wishes.udid);
        EXPECT_EQ(now.targetHost, wishes.host);
        EXPECT_EQ(now.position, wishes.position);
        EXPECT_EQ(now.transport, wishes.transport);
        EXPECT_EQ(now.showOverlay, wishes.overlay);
        EXPECT_EQ(now.scalingExplicit, wishes.scaling.has_value());
        EXPECT_EQ(session->effectiveScaling(), wishes.scaling.value_or(session->effectiveScaling()));
        const bool wifi = session->activeTransport().starts_with("Wi-Fi");
        EXPECT_EQ(wifi, wishes.transport == Transport::wifi);
        EXPECT_EQ(now.quality, wifi ? now.qualityWiFi : now.qualityUSB);
        EXPECT_EQ(now.smoothness, wifi ? now.smoothWiFi : now.smoothUSB);
        if (wishes.mirror) return;
        const auto& display = machine.screens.all.back();
        const Size size = now.virtualSize();
        EXPECT_EQ((Size{display.current->width, display.current->height}), size);
        const Point place = originBeside(machine.screens.all.front().bounds, wishes.position, size);
        EXPECT_EQ((Point{display.bounds.x, display.bounds.y}), place);
    }

    void expectOneStream() {
        EXPECT_TRUE(session->state().isRunning());
        EXPECT_FALSE(session->isTransitioning());
        EXPECT_EQ(machine.network.openDescriptors(), 1U);
        EXPECT_EQ(machine.screenCapture.streams, 1);
        EXPECT_EQ(machine.encoder.living, 1);
        EXPECT_LE(machine.virtualScreens.living, 1);
    }

    const std::shared_ptr<simulated::Device> device = machine.attachDevice("tablet-1");
    const std::vector<simulated::SimulatedUsbMux::Attached> attached = machine.usb.attached;
};

TEST_F(EnduranceTest, AnHourOfChangesEndsInWhatWasAskedForLast) {
    for (unsigned seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Wishes wishes;
        Session::Config config;
        config.transport = wishes.transport;
        config.wifiHost = kHost;
        machine.usb.attached = attached;
        session->start(config);
        Restlessness chance(seed, *session, wishes);
        const Instant end = machine.machine.now() + 1h;
        while (machine.machine.now() < end) {
            run(std::chrono::milliseconds(1 << chance.upTo(15)));
            if (chance.upTo(2) == 0) {
                disturb(chance);
            } else {
                chance.changeASetting();
            }
        }
        machine.usb.attached = attached;
        machine.screenCapture.animate(5);  // so that a link that was lost is noticed
        run(3min);
        machine.screenCapture.animate(0);
        expectOneStream();
        expectGranted(wishes);
        session->stop();
        run(10s);
        EXPECT_EQ(machine.network.openDescriptors(), 0U);
        device->messages.clear();
    }
}

// --- the cable

TEST_F(EnduranceTest, TheCableIsTakenWithin3500MillisecondsOfItsAppearance) {
    machine.usb.attached.clear();
    Session::Config config;
    config.transport = Transport::auto_;
    config.wifiHost = kHost;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    for (int time = 1; time <= 20; ++time) {
        run(std::chrono::milliseconds(4000 + 171 * time));
        ASSERT_EQ(session->activeTransport(), std::string("Wi-Fi (") + kHost + ")");
        const auto display = machine.screens.all.back().id;
        machine.desktopWindows.windows = {{1, {2000, 100, 400, 300}}};
        machine.usb.attached = attached;
        const Instant plugged = machine.machine.now();
        ASSERT_TRUE(eventually(
            [&] { return logged("auto: cable detected for tablet-1, switching back to USB") == time; }));
        EXPECT_LE(machine.machine.now() - plugged, 3500ms);
        const Instant ended = machine.machine.now();
        device->counts.clear();
        ASSERT_TRUE(eventually([&] { return device->counts[2] > 0 && session->activeTransport() == "USB"; }));
        EXPECT_LE(machine.machine.now() - ended, 2s) << "from the old link's end to the new one's picture";
        EXPECT_EQ(machine.screens.all.back().id, display);
        EXPECT_EQ(machine.desktopWindows.windows[0].frame.x, 2000) << "windows stay where they are";
        machine.usb.attached.clear();
        hangUp();
        ASSERT_TRUE(eventually([&] { return session->activeTransport().starts_with("Wi-Fi"); }, 60s));
        ASSERT_TRUE(eventuallyRunning());
        EXPECT_EQ(machine.network.openDescriptors(), 1U);
        EXPECT_EQ(machine.screenCapture.streams, 1);
    }
    EXPECT_EQ(machine.virtualScreens.attempts, 1);
}

TEST_F(EnduranceTest, TheCableIsLeftAloneUnlessTheTransportIsAutomatic) {
    Session::Config config = mirroring();
    config.transport = Transport::wifi;
    config.wifiHost = kHost;
    session->start(config);
    ASSERT_TRUE(eventuallyRunning());
    run(60s);
    EXPECT_EQ(loggedBeginning("auto:"), 0);
    EXPECT_EQ(device->connectedAt.size(), 1U);
}

// --- sleep

TEST_F(EnduranceTest, AWokenMachineNoticesADeadLinkByTheFirstSend) {
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    machine.screenCapture.animate(30);
    run(5s);
    machine.network.setPath(device->current, simulated::Network::Path::forgotten);
    machine.machine.suspend(1h);
    const Instant woken = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return logged("link lost, reconnecting") == 1; }));
    EXPECT_LE(machine.machine.now() - woken, 100ms);
    ASSERT_TRUE(eventuallyRunning());
    EXPECT_LE(machine.machine.now() - woken, 2s);
    run(60s);
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

TEST_F(EnduranceTest, AWokenMachineNoticesASilentLinkByTheWatchdog) {
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    machine.screenCapture.animate(30);
    run(5s);
    machine.network.setPath(device->current, simulated::Network::Path::lost);
    machine.machine.suspend(1h);
    const Instant woken = machine.machine.now();
    ASSERT_TRUE(eventually([&] { return logged("no traffic for 8 s, reclaiming the link") == 1; }));
    EXPECT_LE(machine.machine.now() - woken, 2s);
    ASSERT_TRUE(eventuallyRunning());
    run(60s);
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

TEST_F(EnduranceTest, NothingHappensInABurstAfterSleep) {
    session->start([] {
        Session::Config config;
        config.transport = Transport::usb;
        return config;
    }());
    ASSERT_TRUE(eventuallyRunning());
    run(5s);
    const auto before = log().size();
    const int calls = machine.screens.calls;
    machine.machine.suspend(1h);
    run(1900ms);
    EXPECT_EQ(log().size(), before);
    EXPECT_LE(machine.screens.calls - calls, 8) << "one look at the mode and one at the bounds";
    EXPECT_TRUE(session->state().isRunning());
}

TEST_F(EnduranceTest, ARetryThatWasDueDuringSleepRunsOnce) {
    session->start(mirroring());
    ASSERT_TRUE(eventuallyRunning());
    hangUp();
    run(100ms);
    machine.machine.suspend(1h);
    ASSERT_TRUE(eventuallyRunning());
    run(60s);
    EXPECT_EQ(device->connectedAt.size(), 2U);
}

}  // namespace
}  // namespace quillon
