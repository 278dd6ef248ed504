#include <signal.h>
#include <xcb/xcb.h>

#include <cstdlib>

#include "tests/e2e/desk_fixture.hpp"
#include "tests/e2e/pictures.hpp"

// The built programs together: host, device, mux server, X server.

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;

class StreamTest : public DeskTest {
  protected:
    void SetUp() override { startXServer(); }

    static constexpr const char* kRuns = "[session] Mirroring main display · USB";
};

TEST_F(StreamTest, TheDeviceShowsWhatIsOnTheScreen) {
    Wall wall;
    wall.fill(0, 0, 1920, 1080, kRed);
    wall.fill(960, 0, 960, 1080, kGreen);
    const auto device = startDevice({"--panel", "1920x1080", "--seconds", "6", "--snapshot", path("shot.png"),
                                     "--json", path("summary.json")});
    const auto host = startHost({"--mirror", "--seconds", "3"});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    // A small change must arrive as well, and sharp.
    ASSERT_TRUE(device->printed("picture 1920x1080")) << device->output();
    wall.fill(100, 100, 64, 64, kGreen);
    EXPECT_EQ(host->waitForEnd(), 0);
    EXPECT_TRUE(host->printed("[session] Stopped"));
    EXPECT_TRUE(host->printed("[host] finished"));
    EXPECT_EQ(device->waitForEnd(), 0) << device->output();

    const Image shot = readPng(path("shot.png"));
    ASSERT_EQ(shot.width, 1920);
    ASSERT_EQ(shot.height, 1080);
    EXPECT_TRUE(hasColour(shot, 500, 500, kRed));
    EXPECT_TRUE(hasColour(shot, 1500, 500, kGreen));
    EXPECT_TRUE(hasColour(shot, 132, 132, kGreen));
    EXPECT_TRUE(hasColour(shot, 90, 90, kRed));
    EXPECT_EQ(summaryNumber("decodeErrors"), 0);
    EXPECT_EQ(summaryNumber("missingReferences"), 0);
}

TEST_F(StreamTest, StatisticsArePrinted) {
    Wall wall;
    const auto device = startDevice({"--panel", "1920x1080"});
    const auto host = startHost({"--mirror"});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    for (int i = 0; i < 400 && !host->printed("[host] ", 10ms); ++i) wall.fill(i * 3, 0, 3, 1080, kGreen);
    const std::regex line(
        R"(\[host\] \d+\.\d fps   \d+\.\d\d Mbps   latency (p50 \d+\.\d ms|n/a)   drops \d+\n)");
    EXPECT_TRUE(std::regex_search(host->output(), line)) << host->output();
}

TEST_F(StreamTest, OverTcpTheLinkIsWiFi) {
    const auto device = std::make_unique<ChildProcess>(
        std::vector<std::string>{QUILLON_DEVICE, "--headless", "--bind", "127.0.0.1", "--port", "0"});
    ASSERT_TRUE(device->printed("listening on 127.0.0.1:"));
    std::smatch port;
    const std::string said = device->output();
    ASSERT_TRUE(std::regex_search(said, port, std::regex("127\\.0\\.0\\.1:(\\d+)")));
    const auto host = startHost({"--tcp", "127.0.0.1:" + port[1].str(), "--seconds", "2"});
    EXPECT_TRUE(host->printed("[session] Mirroring main display · Wi-Fi (127.0.0.1)")) << host->output();
    EXPECT_TRUE(device->printed("picture 1024x768")) << device->output();
    EXPECT_EQ(host->waitForEnd(), 0);
}

TEST_F(StreamTest, ADeviceThatComesBackIsFoundAgain) {
    auto device = startDevice();
    const auto host = startHost({"--mirror"});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    device->signal(SIGKILL);
    ASSERT_TRUE(host->printed("link lost, reconnecting"));
    device->waitForEnd();
    device = startDevice();
    EXPECT_TRUE(host->printedTimes(kRuns, 2, 20s)) << host->output();
    EXPECT_TRUE(device->printed("picture 2048x1536")) << device->output();
}

TEST_F(StreamTest, AVanishedXServerIsReportedAndTheHostGoesOn) {
    const auto device = startDevice();
    const auto host = startHost({"--mirror"});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    server->kill();
    EXPECT_TRUE(host->printed("[session] Failed: capture: ")) << host->output();
    EXPECT_TRUE(host->printedTimes("[session] Failed: capture: ", 2, 20s))
        << "it tries again: " << host->output();
    EXPECT_TRUE(host->isRunning());
    host->signal(SIGINT);
    EXPECT_EQ(host->waitForEnd(5s), 0);
    EXPECT_TRUE(host->printed("[host] interrupted"));
}

TEST_F(StreamTest, AResizedDisplayIsStreamedOn) {
    Wall wall;
    wall.fill(0, 0, 1920, 1080, kRed);
    const auto device = startDevice({"--panel", "1600x1200", "--seconds", "8", "--json", path("summary.json"),
                                     "--snapshot", path("shot.png")});
    const auto host = startHost({"--mirror", "--seconds", "5"});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    ASSERT_TRUE(device->printed("picture 1600x1200")) << device->output();
    ASSERT_TRUE(server->xrandr("--newmode smaller 38.25 800 832 912 1024 600 603 607 624"));
    ASSERT_TRUE(server->xrandr("--addmode DUMMY0 smaller"));
    ASSERT_TRUE(server->xrandr("--output DUMMY0 --mode smaller"));
    wall.fill(0, 0, 800, 600, kGreen);
    EXPECT_EQ(host->waitForEnd(), 0);
    EXPECT_EQ(device->waitForEnd(), 0);
    const Image shot = readPng(path("shot.png"));
    ASSERT_EQ(shot.width, 1600);
    EXPECT_TRUE(hasColour(shot, 100, 100, kGreen)) << "4:3 now fills the panel";
    EXPECT_TRUE(hasColour(shot, 1500, 1100, kGreen));
    EXPECT_EQ(summaryNumber("decodeErrors"), 0);
}

TEST_F(StreamTest, FaultsOfTheDeviceNeverEndTheHost) {
    Wall wall;
    const std::vector<std::vector<std::string>> faults{
        {"--fault", "garbage"},
        {"--fault", "no-ack", "--fault", "no-keepalive"},
        {"--fault", "slow:200000"},
        {"--fault", "stall:2@0.5"},
        {"--fault", "cut:5"},
        {"--fault", "cut:2000"},
        {"--greeting", "x \xff\xfe 9x9"},
        {"--greeting", "Tablet 99999999999999999999 a b 65535x65535"},
    };
    for (const auto& fault : faults) {
        const auto device = startDevice(fault);
        const auto host = startHost({"--mirror"});
        EXPECT_TRUE(device->printed("connected")) << device->output();
        for (int i = 0; i < 60; ++i) {
            wall.fill(i * 30, 0, 30, 1080, i % 2 == 0 ? kGreen : kRed);
            host->printed("never printed", 10ms);
        }
        EXPECT_TRUE(host->isRunning()) << fault[1] << "\n" << host->output();
        host->signal(SIGINT);
        EXPECT_EQ(host->waitForEnd(5s), 0) << fault[1];
    }
}

TEST_F(StreamTest, ASlowDeviceGetsADecodableStream) {
    Wall wall;
    const auto device = startDevice({"--panel", "1920x1080", "--fault", "slow:300000", "--seconds", "8",
                                     "--json", path("summary.json"), "--snapshot", path("shot.png")});
    const auto host = startHost({"--mirror"});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    for (int i = 0; i < 150; ++i) {
        for (int y = 0; y < 1080; y += 20) {
            wall.fill((i * 37 + y * 13) % 1700, y, 220, 20,
                      static_cast<uint32_t>((i * 7919 + y * 104729) & 0xFFFFFF));
        }
        host->printed("never printed", 15ms);
    }
    wall.fill(0, 0, 1920, 1080, kRed);
    EXPECT_EQ(device->waitForEnd(), 0);
    EXPECT_EQ(summaryNumber("decodeErrors"), 0);
    EXPECT_EQ(summaryNumber("missingReferences"), 0);
    EXPECT_TRUE(hasColour(readPng(path("shot.png")), 900, 500, kRed))
        << "the last picture before rest arrives";
}

TEST_F(StreamTest, APanelReportChangesTheRaster) {
    const auto device = startDevice({"--panel", "2048x1536", "--panel-report", "1668x2388@1"});
    const auto host = startHost({"--mirror"});
    ASSERT_TRUE(device->printed("picture 2048x1536")) << device->output();
    EXPECT_TRUE(host->printed("panel changed to 1668x2388")) << host->output();
    EXPECT_TRUE(device->printed("picture 1668x2388")) << device->output();
    EXPECT_FALSE(host->printed("link lost", 0ms));
}

TEST_F(StreamTest, TouchesMoveThePointer) {
    const auto device = startDevice({"--touch", "hover,0.25,0.75@0.5"});
    const auto host = startHost({"--mirror"});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    bool arrived = false;
    for (int i = 0; i < 500 && !arrived; ++i) {
        xcb_query_pointer_reply_t* const pointer =
            xcb_query_pointer_reply(connection, xcb_query_pointer(connection, root), nullptr);
        arrived = pointer->root_x == 480 && pointer->root_y == 810;
        std::free(pointer);
        if (!arrived) host->printed("never printed", 10ms);
    }
    EXPECT_TRUE(arrived);
    xcb_disconnect(connection);
}

TEST_F(StreamTest, DisplaysAreListed) {
    const auto host = startHost({"--displays"});
    EXPECT_EQ(host->waitForEnd(), 0);
    EXPECT_TRUE(host->printed("1920x1080")) << host->output();
}

class NoScreenTest : public DeskTest {
  protected:
    static ChildProcess::Environment withoutScreen() {
        return {
            {"DISPLAY", std::nullopt}, {"WAYLAND_DISPLAY", std::nullopt}, {"XDG_SESSION_TYPE", std::nullopt}};
    }
};

TEST_F(NoScreenTest, ThePatternIsStreamedAllTheSame) {
    const auto device = startDevice({"--panel", "1024x768", "--seconds", "5", "--json", path("summary.json"),
                                     "--snapshot", path("shot.png")});
    const auto host = startHost({"--mirror", "--pattern", "--seconds", "3"}, withoutScreen());
    EXPECT_TRUE(host->printed("[session] Test pattern 1024×768")) << host->output();
    EXPECT_EQ(host->waitForEnd(), 0);
    EXPECT_EQ(device->waitForEnd(), 0);
    EXPECT_GE(summaryNumber("framesDecoded"), 30);
    EXPECT_EQ(summaryNumber("decodeErrors"), 0);
    const Image shot = readPng(path("shot.png"));
    ASSERT_EQ(shot.width, 1024);
    EXPECT_TRUE(hasColour(shot, 3, 400, 0xE65973)) << "the red border";
}

TEST_F(NoScreenTest, ThePatternFitsTheWiFiRasterToo) {
    const auto device = std::make_unique<ChildProcess>(std::vector<std::string>{
        QUILLON_DEVICE, "--headless", "--bind", "127.0.0.1", "--port", "0", "--panel", "1024x768"});
    ASSERT_TRUE(device->printed("listening on 127.0.0.1:"));
    std::smatch port;
    const std::string said = device->output();
    ASSERT_TRUE(std::regex_search(said, port, std::regex("127\\.0\\.0\\.1:(\\d+)")));
    const auto host =
        startHost({"--tcp", "127.0.0.1:" + port[1].str(), "--pattern", "--seconds", "2"}, withoutScreen());
    EXPECT_TRUE(device->printed("picture 512x384")) << device->output() << host->output();
}

TEST_F(NoScreenTest, WithoutAScreenItSaysWhatIsMissingAndWhatHelps) {
    const auto device = startDevice();
    const auto host = startHost({"--mirror"}, withoutScreen());
    EXPECT_TRUE(host->printed("[session] Failed: capture: ")) << host->output();
    EXPECT_TRUE(host->printed("DISPLAY")) << host->output();
    EXPECT_TRUE(host->isRunning());
}

TEST_F(NoScreenTest, AWaylandSessionIsNamed) {
    const auto device = startDevice();
    auto changes = withoutScreen();
    changes["WAYLAND_DISPLAY"] = "wayland-0";
    const auto host = startHost({"--mirror"}, changes);
    EXPECT_TRUE(host->printed("[session] Failed: capture: ")) << host->output();
    EXPECT_TRUE(host->printed("Wayland")) << host->output();
}

TEST_F(NoScreenTest, TheXServerInsideAWaylandSessionIsNotTakenForTheScreen) {
    if (!std::filesystem::exists("/usr/bin/weston") || !std::filesystem::exists("/usr/bin/Xwayland")) {
        GTEST_SKIP() << "weston and Xwayland are not installed";
    }
    std::filesystem::create_directory(path("runtime"));
    std::filesystem::permissions(path("runtime"), std::filesystem::perms::owner_all);
    ChildProcess weston({"weston", "--backend=headless-backend.so", "--xwayland", "--idle-time=0"},
                        {{"XDG_RUNTIME_DIR", path("runtime")}, {"DISPLAY", std::nullopt}});
    ASSERT_TRUE(weston.printed("xserver listening on display ")) << weston.output();
    const std::string said = weston.output();
    std::smatch display;
    ASSERT_TRUE(std::regex_search(said, display, std::regex("xserver listening on display (:\\d+)"))) << said;
    const auto device = startDevice();
    auto changes = withoutScreen();
    changes["DISPLAY"] = display[1].str();
    const auto host = startHost({"--mirror"}, changes);
    EXPECT_TRUE(host->printed("[session] Failed: capture: this session offers Wayland only"))
        << host->output();
}

TEST_F(NoScreenTest, WithoutADeviceItSaysSo) {
    const auto host = startHost({"--mirror"}, withoutScreen());
    EXPECT_TRUE(host->printed("[session] Starting…"));
    EXPECT_TRUE(host->printed("[session] Failed: iPad not reachable")) << host->output();
    EXPECT_TRUE(host->isRunning());
}

TEST_F(NoScreenTest, WithoutVirtualDisplaysItSaysSo) {
    const auto device = startDevice();
    const auto host = startHost({}, withoutScreen());
    EXPECT_TRUE(host->printed("[session] Failed: CGVirtualDisplay unavailable", 15s)) << host->output();
}

TEST_F(NoScreenTest, DevicesAreListed) {
    const auto device = startDevice();
    const auto host = startHost({"--devices", "--discover"});
    EXPECT_EQ(host->waitForEnd(), 0);
    EXPECT_TRUE(host->printed("[devices] usbmuxd:\n  tablet-1  product=")) << host->output();
}

TEST_F(NoScreenTest, WithoutAMuxServerTheListIsEmpty) {
    const auto host = startHost({"--devices"});
    EXPECT_EQ(host->waitForEnd(), 0);
    EXPECT_EQ(host->output(), "[devices] usbmuxd:\n");
}

TEST_F(NoScreenTest, SecondsEndTheRunTwoSecondsLater) {
    const auto host = startHost({"--mirror", "--seconds", "1"}, withoutScreen());
    EXPECT_EQ(host->waitForEnd(6s), 0);
    EXPECT_TRUE(host->printed("[host] finished"));
}

}  // namespace
}  // namespace quillon::testing
