#include "platform/linux/x11_windows.hpp"

#include <gmock/gmock.h>

#include <algorithm>

#include "display/window_mover.hpp"
#include "platform/linux/granted_permissions.hpp"
#include "platform/linux/x11_displays.hpp"
#include "tests/linux/x11_fixture.hpp"
#include "tests/support/desktop_windows.hpp"

namespace quillon::testing {
namespace {

using ::testing::UnorderedElementsAre;
using Kind = TestWindows::Kind;

constexpr PixelRect kPlace{300, 200, 200, 100};
constexpr uint32_t kEverywhere = 0xFFFFFFFF;

/// A server without a window manager.
class X11BareWindowsTest : public X11Test {
  protected:
    void SetUp() override {
        X11Test::SetUp();
        if (server_) clients_ = std::make_unique<TestWindows>();
    }
    std::vector<uint64_t> listed() {
        std::vector<uint64_t> ids;
        for (const auto& window : windows_.all()) ids.push_back(window.id);
        return ids;
    }
    Rect listedFrame(xcb_window_t id) {
        const auto all = windows_.all();
        const auto found = std::ranges::find(all, uint64_t{id}, &Windows::Window::id);
        return found == all.end() ? Rect{} : found->frame;
    }
    static Rect asRect(const PixelRect& r) {
        return {static_cast<double>(r.x), static_cast<double>(r.y), static_cast<double>(r.width),
                static_cast<double>(r.height)};
    }
    /// A second display beside the first.
    void addDisplay(const std::string& place) {
        ASSERT_TRUE(server_->xrandr("--newmode second 40 1024 1100 1200 1400 768 771 775 800"));
        ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 second"));
        ASSERT_TRUE(server_->xrandr("--output DUMMY1 --mode second " + place + " DUMMY0"));
    }

    std::unique_ptr<TestWindows> clients_;
    X11Windows windows_;
};

/// The same with a window manager.
class X11WindowsTest : public X11BareWindowsTest {
  protected:
    void SetUp() override {
        if (const std::string missing = WindowManager::missing(); !missing.empty()) GTEST_SKIP() << missing;
        X11BareWindowsTest::SetUp();
        if (!server_) return;
        manager_ = WindowManager::start();
        ASSERT_TRUE(manager_) << "openbox did not start";
    }

    std::unique_ptr<WindowManager> manager_;
};

TEST_F(X11WindowsTest, ListsWindowsWithTheirFrames) {
    const xcb_window_t window = clients_->open(kPlace);
    const PixelRect frame = clients_->frame(window);
    EXPECT_EQ(frame.x, kPlace.x);
    EXPECT_EQ(frame.y, kPlace.y);
    EXPECT_GT(frame.height, kPlace.height) << "a title bar";
    EXPECT_EQ(listedFrame(window), asRect(frame));
}

TEST_F(X11WindowsTest, OnlyWindowsOfOrdinaryApplicationsAreListed) {
    const xcb_window_t plain = clients_->open(kPlace);
    const xcb_window_t normal = clients_->open(kPlace, {.type = "NORMAL"});
    const xcb_window_t dialog = clients_->open(kPlace, {.type = "DIALOG"});
    const xcb_window_t utility = clients_->open(kPlace, {.type = "UTILITY"});
    const xcb_window_t unknown = clients_->open(kPlace, {.type = "SOMETHING_NEW"});
    for (const char* type : {"DESKTOP", "DOCK", "SPLASH", "MENU", "NOTIFICATION", "TOOLTIP"}) {
        clients_->open(kPlace, {.type = type});
    }
    clients_->open(kPlace, {.overrideRedirect = true});
    clients_->open(kPlace, {.mapped = false});
    EXPECT_THAT(listed(), UnorderedElementsAre(plain, normal, dialog, utility, unknown));
}

TEST_F(X11WindowsTest, MinimisedOnesAndThoseOfOtherWorkspacesAreListedAndFurnitureIsNot) {
    const xcb_window_t minimised = clients_->open(kPlace);
    clients_->minimise(minimised);
    const xcb_window_t elsewhere = clients_->open(kPlace, {.workspace = 2});
    const xcb_window_t everywhere = clients_->open(kPlace, {.workspace = kEverywhere});
    clients_->open(kPlace, {.states = {"SKIP_TASKBAR", "SKIP_PAGER"}, .workspace = kEverywhere});
    EXPECT_THAT(listed(), UnorderedElementsAre(minimised, elsewhere, everywhere));
    int place = 400;
    for (const xcb_window_t window : {minimised, elsewhere, everywhere}) {
        EXPECT_TRUE(windows_.move(window, {500, static_cast<double>(place)}));
        EXPECT_TRUE(clients_->comesTo(window, 500, place)) << "frame at " << clients_->frame(window).x;
        place += 30;
    }
}

TEST_F(X11WindowsTest, TheFrameLandsWhereItWasAskedTo) {
    const xcb_window_t window = clients_->open(kPlace);
    const PixelRect before = clients_->frame(window);
    EXPECT_TRUE(windows_.move(window, {640, 480}));
    EXPECT_TRUE(clients_->comesTo(window, 640, 480));
    EXPECT_EQ(clients_->frame(window), (PixelRect{640, 480, before.width, before.height}));
}

TEST_F(X11WindowsTest, TheMainDisplaysCornerIsTheOrigin) {
    const xcb_window_t window = clients_->open(kPlace);
    addDisplay("--primary --left-of");  // its 1024 pixels come first
    ASSERT_TRUE(eventually([&] { return clients_->frame(window).x == kPlace.x; }));
    EXPECT_EQ(listedFrame(window).x, kPlace.x);
    ASSERT_TRUE(server_->xrandr("--output DUMMY0 --primary"));
    EXPECT_EQ(listedFrame(window).x, kPlace.x - 1024);
    EXPECT_TRUE(windows_.move(window, {100, 50}));
    EXPECT_TRUE(clients_->comesTo(window, 1124, 50));
}

TEST_F(X11WindowsTest, WindowsThatDieAreNoTrouble) {
    const xcb_window_t window = clients_->open(kPlace);
    const xcb_window_t other = clients_->open(kPlace);
    clients_->close(window);
    EXPECT_FALSE(windows_.move(window, {1, 1}));
    EXPECT_TRUE(eventually([&] { return listed() == std::vector<uint64_t>{other}; }));
    EXPECT_TRUE(windows_.move(other, {10, 20}));
}

TEST_F(X11WindowsTest, WindowsMayDieBetweenAnyTwoQuestions) {
    for (int round = 0; round < 10; ++round) {
        std::vector<xcb_window_t> dying;
        for (int i = 0; i < 4; ++i) dying.push_back(clients_->open(kPlace));
        for (const xcb_window_t window : dying) xcb_destroy_window(clients_->connection(), window);
        xcb_flush(clients_->connection());
        for (const auto& window : windows_.all()) windows_.move(window.id, {5, 5});
    }
    EXPECT_TRUE(eventually([&] { return windows_.all().empty(); }));
}

TEST_F(X11WindowsTest, AManagerThatDiedLeavesTopLevelWindows) {
    const xcb_window_t window = clients_->open(kPlace);
    manager_->process().signal(SIGKILL);
    manager_->process().waitForEnd();
    EXPECT_TRUE(eventually([&] { return listed() == std::vector<uint64_t>{window}; }));
    EXPECT_TRUE(windows_.move(window, {700, 300}));
    EXPECT_TRUE(eventually([&] { return clients_->frame(window).x != kPlace.x; }));
}

TEST_F(X11WindowsTest, SurvivesTheServerAndFindsTheNext) {
    const xcb_window_t window = clients_->open(kPlace);
    EXPECT_EQ(listed().size(), 1u);
    clients_.reset();
    server_->kill();
    EXPECT_TRUE(windows_.all().empty());
    EXPECT_FALSE(windows_.move(window, {1, 1}));
    startServer();
    clients_ = std::make_unique<TestWindows>();
    manager_ = WindowManager::start();
    ASSERT_TRUE(manager_);
    const xcb_window_t next = clients_->open(kPlace);
    EXPECT_EQ(listed(), std::vector<uint64_t>{next});
}

TEST_F(X11WindowsTest, EightWindowsComeHomeInTheCascade) {
    addDisplay("--right-of");
    X11Displays displays;
    GrantedPermissions permissions;
    ASSERT_EQ(displays.active().size(), 2u);
    std::vector<xcb_window_t> away;
    for (int i = 0; i < 8; ++i) away.push_back(clients_->open({2000 + 40 * i, 60 + 30 * i, 500, 320}));
    const xcb_window_t home = clients_->open({1500, 700, 300, 200});
    const xcb_window_t straddling = clients_->open({1870, 500, 60, 100});  // 12 of 62 columns are away
    WindowMover(windows_, displays, permissions)
        .moveWindowsOff(displays.active()[1], displays.bounds(displays.main()));
    // In the order of the client list, which is the order of opening.
    int k = 0;
    for (const int offset : {0, 30, 60, 90, 120, 150, 0, 30}) {
        const xcb_window_t window = away[static_cast<size_t>(k++)];
        EXPECT_TRUE(clients_->comesTo(window, 60 + offset, 60 + offset))
            << k << " is at " << clients_->frame(window).x << "," << clients_->frame(window).y;
    }
    EXPECT_EQ(clients_->frame(home).x, 1500);
    EXPECT_EQ(clients_->frame(straddling).x, 1870);
}

TEST_F(X11BareWindowsTest, TopLevelWindowsAreListedAndMoved) {
    const xcb_window_t window = clients_->open(kPlace);
    clients_->open(kPlace, {.type = "DOCK"});
    clients_->open(kPlace, {.states = {"STICKY", "SKIP_TASKBAR", "SKIP_PAGER"}});
    clients_->open(kPlace, {.overrideRedirect = true});
    clients_->open(kPlace, {.mapped = false});
    EXPECT_EQ(listed(), std::vector<uint64_t>{window});
    EXPECT_EQ(listedFrame(window), asRect(kPlace));
    EXPECT_TRUE(windows_.move(window, {12, 34}));
    EXPECT_TRUE(clients_->comesTo(window, 12, 34));
    clients_->close(window);
    EXPECT_FALSE(windows_.move(window, {1, 1}));
}

TEST_F(X11BareWindowsTest, FramesThatNoScreenHasRoomForAreNotBelieved) {
    const xcb_window_t framed = clients_->open(kPlace, {.frameExtents = {1, 2, 30, 4}});
    EXPECT_EQ(listedFrame(framed), (Rect{299, 170, 203, 134}));
    constexpr uint32_t kLargest = 0xFFFFFFFF, kLargestSigned = 0x7FFFFFFF;
    for (const std::vector<uint32_t>& absurd :
         {std::vector<uint32_t>{0, kLargestSigned, 0, kLargestSigned},
          std::vector<uint32_t>{kLargestSigned, 0, kLargestSigned + 1, 0},
          std::vector<uint32_t>{0, 0, 0, kLargest}, std::vector<uint32_t>{0, 0x8000, 0, 0},
          std::vector<uint32_t>{1, 2, 30}}) {
        const xcb_window_t window = clients_->open(kPlace, {.frameExtents = absurd});
        EXPECT_EQ(listedFrame(window), asRect(kPlace)) << absurd[1];
    }
}

TEST_F(X11BareWindowsTest, WindowsOnNoDisplayAreRescued) {
    X11Displays displays;
    GrantedPermissions permissions;
    ASSERT_TRUE(server_->xrandr("--fb 4096x1080"));  // larger than its only display
    const xcb_window_t home = clients_->open({100, 100, 300, 200});
    const xcb_window_t lost = clients_->open({2500, 300, 300, 200});
    WindowMover(windows_, displays, permissions).sweepOffscreenWindows();
    EXPECT_TRUE(clients_->comesTo(lost, 80, 80));
    EXPECT_EQ(clients_->frame(home), (PixelRect{100, 100, 300, 200}));
}

TEST(X11WindowsWithoutServer, ThereAreNone) {
    unsetenv("DISPLAY");
    X11Windows windows;
    EXPECT_TRUE(windows.all().empty());
    EXPECT_FALSE(windows.move(1, {1, 1}));
}

}  // namespace
}  // namespace quillon::testing
