#include <gmock/gmock.h>
#include <signal.h>

#include <array>
#include <cstdio>

#include "tests/e2e/desk_fixture.hpp"
#include "tests/e2e/pictures.hpp"
#include "tests/support/desktop_windows.hpp"

// The built programs on a desktop with a window manager: the host extends it by a display that the device
// shows and touches.

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kRuns = "[session] iPad display ";
constexpr const char* kOutput = "DUMMY1";  // the first one that no monitor uses

class ExtendTest : public DeskTest {
  protected:
    void SetUp() override {
        if (const std::string missing = WindowManager::missing(); !missing.empty()) GTEST_SKIP() << missing;
        startXServer();
        if (!server) return;
        manager_ = WindowManager::start();
        ASSERT_TRUE(manager_) << "openbox did not start";
    }

    /// What `xrandr` says.
    std::string configuration() const {
        std::string text;
        FILE* const pipe = popen(("xrandr -d " + server->display() + " --query").c_str(), "r");
        std::array<char, 4096> buffer{};
        for (size_t count = 0; (count = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
            text.append(buffer.data(), count);
        }
        pclose(pipe);
        return text;
    }
    /// Where an output lies on the root window; empty when it shows nothing.
    PixelRect placeOf(const std::string& output) const {
        const std::string text = configuration();
        const std::regex line("(^|\n)" + output + R"( [a-z]+ (?:primary )?(\d+)x(\d+)\+(\d+)\+(\d+))");
        std::smatch match;
        if (!std::regex_search(text, match, line)) return {};
        return {std::stoi(match[4]), std::stoi(match[5]), std::stoi(match[2]), std::stoi(match[3])};
    }
    bool showsNothing(const std::string& output) const { return placeOf(output).isEmpty(); }

    std::unique_ptr<WindowManager> manager_;
};

TEST_F(ExtendTest, TheDeviceShowsTheVirtualDisplay) {
    const auto device =
        startDevice({"--panel", "2048x1536", "--json", path("summary.json"), "--snapshot", path("shot.png")});
    const auto host = startHost({"--seconds", "4"});
    // The largest desktop of the panel's shape that can be read.
    ASSERT_TRUE(host->printed("[session] iPad display 1600×1200 · USB\n")) << host->output();
    const PixelRect place = placeOf(kOutput);
    EXPECT_EQ(place, (PixelRect{1920, 0, 1600, 1200}));
    Wall wall;
    wall.fill(0, 0, 1920, 1080, kRed);
    wall.fill(place.x, place.y, place.width, place.height, kGreen);
    EXPECT_EQ(host->waitForEnd(), 0);
    EXPECT_TRUE(showsNothing(kOutput)) << configuration();
    device->signal(SIGTERM);
    EXPECT_EQ(device->waitForEnd(), 0) << device->output();
    const Image shot = readPng(path("shot.png"));
    ASSERT_EQ(shot.width, 2048);
    for (const int x : {20, 1000, 2030}) EXPECT_TRUE(hasColour(shot, x, 700, kGreen));
    EXPECT_EQ(summaryNumber("decodeErrors"), 0);
}

TEST_F(ExtendTest, TouchesArriveOnTheVirtualDisplay) {
    // A pane of glass over the whole desktop: it sees every event with its place.
    TestWindows windows;
    const xcb_window_t glass = windows.open({0, 0, 4000, 3000}, {.overrideRedirect = true});
    const uint32_t events =
        XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_BUTTON_1_MOTION;
    xcb_change_window_attributes(windows.connection(), glass, XCB_CW_EVENT_MASK, &events);
    xcb_flush(windows.connection());
    const auto device = startDevice({"--panel", "2048x1536", "--touch", "press,0.5,0.5@1", "--finger",
                                     "drag,0.75,0.5@1.1", "--touch", "release,0.75,0.25@1.2", "--touch",
                                     "scroll,0,31@1.3", "--touch", "scroll,-15.5,0@1.4"});
    const auto host = startHost({});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();

    using Seen = std::array<int, 4>;  // type, button, x, y
    std::vector<Seen> seen;
    eventually([&] {
        while (xcb_generic_event_t* const event = xcb_poll_for_event(windows.connection())) {
            const auto* button = reinterpret_cast<const xcb_button_press_event_t*>(event);
            seen.push_back({event->response_type & 0x7F, button->detail, button->root_x, button->root_y});
            std::free(event);
        }
        return seen.size() >= 10;
    });
    const PixelRect display = placeOf(kOutput);
    const int x = display.x + 1200, y = display.y + 300;
    const std::vector<Seen> clicks{{XCB_BUTTON_PRESS, 5, x, y}, {XCB_BUTTON_RELEASE, 5, x, y},
                                   {XCB_BUTTON_PRESS, 5, x, y}, {XCB_BUTTON_RELEASE, 5, x, y},
                                   {XCB_BUTTON_PRESS, 6, x, y}, {XCB_BUTTON_RELEASE, 6, x, y}};
    std::vector<Seen> expected{{XCB_BUTTON_PRESS, 1, display.x + 800, display.y + 600},
                               {XCB_MOTION_NOTIFY, 0, x, display.y + 600},
                               {XCB_MOTION_NOTIFY, 0, x, y},
                               {XCB_BUTTON_RELEASE, 1, x, y}};
    expected.insert(expected.end(), clicks.begin(), clicks.end());
    EXPECT_EQ(seen, expected);
}

TEST_F(ExtendTest, WindowsComeHomeAtTheEnd) {
    const auto device = startDevice();
    const auto host = startHost({"--seconds", "4"});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    const PixelRect display = placeOf(kOutput);
    TestWindows windows;
    std::vector<xcb_window_t> away;
    for (int i = 0; i < 8; ++i) {
        away.push_back(windows.open({display.x + 100 + 20 * i, display.y + 90, 300, 200}));
    }
    const xcb_window_t home = windows.open({700, 500, 300, 200});
    ASSERT_FALSE(host->printed("[session] Stopped", 0ms)) << "too late to tell anything";
    ASSERT_TRUE(host->printed("moved 8 window(s) back to the main display")) << host->output();
    EXPECT_EQ(host->waitForEnd(), 0);
    size_t k = 0;
    for (const int offset : {0, 30, 60, 90, 120, 150, 0, 30}) {
        EXPECT_TRUE(windows.comesTo(away[k++], 60 + offset, 60 + offset));
    }
    EXPECT_EQ(windows.frame(home).x, 700);
}

TEST_F(ExtendTest, TheDesktopFollowsThePanelOnTheSameLink) {
    const auto device = startDevice(
        {"--panel", "2732x2048", "--panel-report", "2388x1668@3", "--panel-report", "2048x2732@8"});
    const auto host = startHost({});
    ASSERT_TRUE(device->printed("picture 2732x2048")) << host->output();
    EXPECT_EQ(placeOf(kOutput), (PixelRect{1920, 0, 2048, 1536}));
    EXPECT_TRUE(host->printed("panel changed to 2388x1668")) << host->output();
    EXPECT_TRUE(device->printed("picture 2388x1668")) << host->output();
    EXPECT_TRUE(host->printed("panel changed to 2048x2732")) << host->output();
    EXPECT_TRUE(host->printed("desktop follows panel 2048x2732 (aspect 0.75 vs 0.75)")) << host->output();
    EXPECT_TRUE(device->printed("picture 2048x2732")) << host->output();
    EXPECT_EQ(placeOf(kOutput), (PixelRect{1920, 0, 1536, 2048}));
    EXPECT_THAT(host->output(), Not(HasSubstr("link lost")));
    EXPECT_FALSE(device->printedTimes("connected", 2, 0ms)) << device->output();
}

TEST_F(ExtendTest, AModeThatSomebodyChangesIsRestored) {
    const auto device = startDevice();
    const auto host = startHost({});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    const PixelRect chosen = placeOf(kOutput);
    std::smatch mode;
    const std::string text = configuration();
    const std::string own = text.substr(text.find(kOutput));
    ASSERT_TRUE(std::regex_search(own, mode, std::regex(R"(\n +(\S*1024x768\S*) )"))) << text;
    ASSERT_TRUE(server->xrandr(std::string("--output ") + kOutput + " --mode " + mode[1].str()));
    const auto changed = std::chrono::steady_clock::now();
    EXPECT_TRUE(eventually([&] { return placeOf(kOutput) == chosen; })) << configuration();
    EXPECT_LT(std::chrono::steady_clock::now() - changed, 3500ms)
        << "two seconds, and some for a busy machine";
    EXPECT_THAT(host->output(), Not(HasSubstr("link lost")));
}

TEST_F(ExtendTest, AnOutputThatVanishesIsReplaced) {
    const auto device = startDevice({"--panel", "2048x1536"});
    const auto host = startHost({});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    ASSERT_TRUE(device->printed("picture 2048x1536"));
    ASSERT_TRUE(server->xrandr(std::string("--output ") + kOutput + " --off"));
    EXPECT_TRUE(eventually([&] { return !showsNothing("DUMMY1") || !showsNothing("DUMMY2"); }, 20s))
        << host->output();
    EXPECT_TRUE(host->printedTimes(kRuns, 2, 20s)) << host->output();
    EXPECT_TRUE(host->isRunning());
}

TEST_F(ExtendTest, AKilledHostLeavesNoDisplay) {
    const auto device = startDevice();
    const auto host = startHost({});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    host->signal(SIGKILL);
    host->waitForEnd();
    EXPECT_TRUE(eventually([&] { return showsNothing(kOutput); })) << configuration();
}

TEST_F(ExtendTest, ASecondHostHasADisplayOfItsOwn) {
    const auto device = startDevice();
    const auto host = startHost({});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    const auto otherDevice = std::make_unique<ChildProcess>(
        std::vector<std::string>{QUILLON_DEVICE, "--headless", "--no-tcp", "--usbmux", path("mux-2")});
    ASSERT_TRUE(otherDevice->printed(path("mux-2")));
    const auto other = startHost({}, {{"USBMUXD_SOCKET_ADDRESS", "UNIX:" + path("mux-2")}});
    ASSERT_TRUE(other->printed(kRuns)) << other->output();
    EXPECT_FALSE(showsNothing("DUMMY1"));
    EXPECT_FALSE(showsNothing("DUMMY2"));
    other->signal(SIGINT);
    EXPECT_EQ(other->waitForEnd(), 0);
    EXPECT_TRUE(eventually([&] { return showsNothing("DUMMY2"); })) << configuration();
    EXPECT_FALSE(showsNothing("DUMMY1"));
    EXPECT_FALSE(host->printed("link lost", 0ms)) << host->output();
}

TEST_F(ExtendTest, AKilledXServerIsReportedAndTheHostGoesOn) {
    const auto device = startDevice();
    const auto host = startHost({});
    ASSERT_TRUE(host->printed(kRuns)) << host->output();
    server->kill();
    EXPECT_TRUE(host->printed("[session] Failed: ")) << host->output();
    EXPECT_TRUE(host->printedTimes("[session] Failed: ", 2, 30s)) << "it tries again: " << host->output();
    EXPECT_TRUE(host->isRunning());
    host->signal(SIGINT);
    EXPECT_EQ(host->waitForEnd(5s), 0);
}

TEST_F(ExtendTest, TheSwitchTestRunsClean) {
    const auto device = startDevice();
    const auto host = startHost({"--switch-test"});
    EXPECT_EQ(host->waitForEnd(80s), 0) << host->output();
    const std::string output = host->output();
    size_t at = 0;
    for (const char* label : {"stop (Extend off)", "start (Extend on)", "-> mirror", "-> extend",
                              "stop again", "start again", "done"}) {
        const size_t found = output.find(std::string("[test] ") + label + "\n", at);
        ASSERT_NE(found, std::string::npos) << label << " in\n" << output;
        at = found;
    }
    EXPECT_THAT(output, Not(HasSubstr("BLOCKED")));
    EXPECT_THAT(output, Not(HasSubstr("Failed")));
    EXPECT_THAT(output, HasSubstr("[session] Mirroring main display · USB\n"));
    EXPECT_TRUE(host->printedTimes(kRuns, 4, 0ms)) << "at first, on again, extended again, started again";
    EXPECT_TRUE(showsNothing(kOutput)) << configuration();
}

TEST_F(ExtendTest, TheDisplayModesWorkOnARealDesktop) {
    struct Case {
        const char* word;
        const char* output;
    };
    for (const auto& [word, output] :
         {Case{"--probe-modes", R"(\[probe\] created id=\d+, at most 8192x8192 pixels\n)"
                                R"(\[probe\] 2048x1536 \(2048x1536\)  current\n)"},
          Case{"--hidpi-probe", R"( requested 1024x768 pt @2x\nas created: .*\n)"
                                R"(  modes: 2048x1536 \(2048x1536\)\n  no 2x mode offered\n)"},
          Case{"--check-input", R"(\[check\] accessibility=true\n\[check\] \d+,\d+ moved=true\n)"},
          Case{"--cycle-test", R"(created id=\d+\ndestroyed; polling for recovery\n)"
                               R"(recreate succeeded after ~2s cumulative, id=\d+\n)"},
          Case{"--cleanup", R"(\[cleanup\] stale Quillon displays: \[\]\n\[cleanup\] remaining: \[\]\n)"}}) {
        const auto run = startHost({word});
        EXPECT_EQ(run->waitForEnd(), 0) << word;
        EXPECT_TRUE(std::regex_match(run->output(), std::regex(output))) << run->output();
        EXPECT_TRUE(eventually([&] { return showsNothing(kOutput); })) << word << "\n" << configuration();
    }
}

}  // namespace
}  // namespace quillon::testing
