#include "platform/linux/x11_virtual_displays.hpp"

#include <gmock/gmock.h>
#include <poll.h>
#include <xcb/randr.h>

#include <algorithm>
#include <string>

#include "platform/linux/x11_displays.hpp"
#include "platform/linux/x11_own_outputs.hpp"
#include "tests/linux/held_display.hpp"
#include "tests/linux/x11_fixture.hpp"
#include "tests/support/sanitizers.hpp"

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr Displays::Identity kOwn{1452, 4096};
const std::vector<Size> kTablets{{2048, 1536}, {2732, 2048}, {2388, 1668}, {2048, 2732},
                                 {1536, 2048}, {1668, 2388}, {1600, 1200}, {1024, 768}};

VirtualDisplayRequest request(std::vector<Size> modes = {{1024, 768}}) {
    return {"Quillon iPad", std::move(modes), false, {8192, 8192}, 60};
}

class X11VirtualDisplaysTest : public X11Test {
  protected:
    std::vector<Size> sizes(DisplayID display) {
        std::vector<Size> all;
        for (const DisplayMode& mode : displays_.modes(display)) all.push_back({mode.width, mode.height});
        return all;
    }
    DisplayMode modeOf(DisplayID display, Size size) {
        for (const DisplayMode& mode : displays_.modes(display)) {
            if (mode.width == size.width && mode.height == size.height) return mode;
        }
        ADD_FAILURE() << "no such mode";
        return {};
    }
    Size screenSize() {
        const auto geometry = owned(xcb_get_geometry_reply(
            connection(), xcb_get_geometry(connection(), painter_->connection().root()), nullptr));
        return geometry ? Size{geometry->width, geometry->height} : Size{};
    }
    xcb_connection_t* connection() { return painter_->connection().get(); }
    /// Waits until so many displays are active.
    bool becomes(size_t count) {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (displays_.active().size() != count) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            pollfd nothing{-1, 0, 0};
            poll(&nothing, 1, 2);
        }
        return true;
    }

    X11VirtualDisplays virtualDisplays_;
    X11Displays displays_;
};

TEST_F(X11VirtualDisplaysTest, ADisplayAppearsRightOfTheMainOne) {
    const auto display = virtualDisplays_.create(request(kTablets));
    ASSERT_TRUE(display);
    ASSERT_NE(display->id(), 0u);
    EXPECT_THAT(displays_.active(), ElementsAre(displays_.main(), display->id()));
    EXPECT_EQ(displays_.bounds(displays_.main()), (Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(displays_.bounds(display->id()), (Rect{1920, 0, 2048, 1536}));
    EXPECT_EQ(displays_.identity(display->id()), kOwn);
    EXPECT_EQ(sizes(display->id()), kTablets) << "these and no others, in this order";
    EXPECT_FALSE(displays_.mirroring(display->id()).inMirrorSet);
    EXPECT_EQ(screenSize(), (Size{3968, 1536}));
}

TEST_F(X11VirtualDisplaysTest, TakesEachOfItsModes) {
    const auto display = virtualDisplays_.create(request(kTablets));
    ASSERT_TRUE(display);
    for (const Size size : kTablets) {
        ASSERT_TRUE(displays_.setMode(display->id(), modeOf(display->id(), size)));
        EXPECT_EQ(displays_.currentMode(display->id()), modeOf(display->id(), size));
        EXPECT_EQ(displays_.bounds(display->id()), (Rect{1920, 0, double(size.width), double(size.height)}));
        EXPECT_EQ(screenSize(), (Size{1920 + size.width, std::max(1080, size.height)}));
    }
    EXPECT_FALSE(displays_.setMode(display->id(), {1024, 768, 1024, 768, 4711}));
    EXPECT_FALSE(displays_.setMode(4711, modeOf(display->id(), {1024, 768})));
}

TEST_F(X11VirtualDisplaysTest, GoesToEachSideOfTheMainDisplay) {
    const auto display = virtualDisplays_.create(request());
    ASSERT_TRUE(display);
    struct Row {
        int x, y;
        PixelRect main;
        Size screen;
    };
    const Row rows[] = {{-1024, 0, {1024, 0, 1920, 1080}, {2944, 1080}},
                        {0, -768, {0, 768, 1920, 1080}, {1920, 1848}},
                        {0, 1080, {0, 0, 1920, 1080}, {1920, 1848}},
                        {-1024, -768, {1024, 768, 1920, 1080}, {2944, 1848}},
                        {1920, 0, {0, 0, 1920, 1080}, {2944, 1080}}};
    for (const Row& row : rows) {
        ASSERT_TRUE(displays_.setOrigin(display->id(), row.x, row.y));
        EXPECT_EQ(displays_.bounds(display->id()), (Rect{double(row.x), double(row.y), 1024, 768}));
        EXPECT_EQ(displays_.bounds(displays_.main()), (Rect{0, 0, 1920, 1080}));
        EXPECT_EQ(readDesktop(painter_->connection()).mainPlace(), row.main);
        EXPECT_EQ(screenSize(), row.screen);
    }
    EXPECT_FALSE(displays_.setOrigin(4711, 0, 0));
}

TEST_F(X11VirtualDisplaysTest, ALayoutBeyondTheScreensLimitChangesNothing) {
    const auto display = virtualDisplays_.create(request());
    ASSERT_TRUE(display);
    EXPECT_FALSE(displays_.setOrigin(display->id(), 32000, 0)) << "more than a screen can have";
    EXPECT_FALSE(displays_.setOrigin(display->id(), 20000, 20000)) << "more than there is memory for";
    EXPECT_EQ(displays_.bounds(display->id()), (Rect{1920, 0, 1024, 768}));
    EXPECT_EQ(screenSize(), (Size{2944, 1080}));
}

TEST_F(X11VirtualDisplaysTest, OtherDisplaysKeepTheirRelativePlaces) {
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY5 1024x768"));
    ASSERT_TRUE(server_->xrandr("--output DUMMY5 --mode 1024x768 --right-of DUMMY0 --primary"));
    const auto before = displays_.active();
    ASSERT_THAT(before, SizeIs(2));
    const DisplayID main = before[1];
    ASSERT_EQ(displays_.main(), main);
    auto display = virtualDisplays_.create(request({{800, 600}}));
    ASSERT_TRUE(display);
    EXPECT_EQ(displays_.main(), main);
    EXPECT_EQ(displays_.bounds(display->id()), (Rect{1024, 0, 800, 600}));
    ASSERT_TRUE(displays_.setOrigin(display->id(), -800, 0));
    EXPECT_EQ(displays_.bounds(display->id()), (Rect{-2720, 0, 800, 600})) << "beyond the other display";
    EXPECT_EQ(displays_.bounds(before[0]), (Rect{-1920, 0, 1920, 1080}));
    ASSERT_TRUE(displays_.setOrigin(display->id(), 0, -600));
    EXPECT_EQ(displays_.bounds(before[0]), (Rect{-1920, 0, 1920, 1080}));
    display.reset();
    EXPECT_EQ(displays_.active(), before);
    EXPECT_EQ(displays_.main(), main);
    EXPECT_EQ(displays_.bounds(before[0]), (Rect{-1920, 0, 1920, 1080}));
    EXPECT_EQ(screenSize(), (Size{2944, 1080}));
}

TEST_F(X11VirtualDisplaysTest, AnEarlierOutputIsNotTakenForTheMainDisplay) {
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY3 1024x768"));
    ASSERT_TRUE(server_->xrandr("--output DUMMY3 --mode 1024x768 --output DUMMY0 --off --noprimary"));
    const DisplayID main = displays_.main();
    const auto display = virtualDisplays_.create(request({{800, 600}}));
    ASSERT_TRUE(display);
    EXPECT_LT(display->id(), main);
    EXPECT_EQ(displays_.main(), main);
    EXPECT_EQ(displays_.bounds(display->id()), (Rect{1024, 0, 800, 600}));
}

TEST_F(X11VirtualDisplaysTest, StopsMirroring) {
    const auto display = virtualDisplays_.create(request({{1920, 1080}}));
    ASSERT_TRUE(display);
    EXPECT_FALSE(displays_.stopMirroring(display->id())) << "it does not mirror";
    const std::string name = outputName(painter_->connection(), display->id());
    ASSERT_TRUE(server_->xrandr("--output " + name + " --same-as DUMMY0"));
    ASSERT_EQ(displays_.mirroring(display->id()).mirrors, displays_.main());
    ASSERT_TRUE(displays_.stopMirroring(display->id()));
    EXPECT_FALSE(displays_.mirroring(display->id()).inMirrorSet);
    EXPECT_EQ(displays_.bounds(display->id()), (Rect{1920, 0, 1920, 1080}));
    ASSERT_TRUE(server_->xrandr("--output " + name + " --same-as DUMMY0"));
    ASSERT_TRUE(displays_.stopMirroring(displays_.main())) << "then the others move";
    EXPECT_EQ(displays_.bounds(display->id()), (Rect{1920, 0, 1920, 1080}));
}

TEST_F(X11VirtualDisplaysTest, DestroyingLeavesTheServerAsItWas) {
    // The driver calls an output connected from its first use on.
    virtualDisplays_.create(request());
    ASSERT_THAT(displays_.active(), SizeIs(1));
    const std::string before = serverState(*server_);
    auto display = virtualDisplays_.create(request(kTablets));
    ASSERT_TRUE(display);
    ASSERT_TRUE(displays_.setMode(display->id(), modeOf(display->id(), {2732, 2048})));
    ASSERT_TRUE(displays_.setOrigin(display->id(), -2732, -400));
    EXPECT_NE(serverState(*server_), before);
    display.reset();
    EXPECT_EQ(serverState(*server_), before);
}

TEST_F(X11VirtualDisplaysTest, AChangedDesktopKeepsItsChangesAtTheEnd) {
    auto display = virtualDisplays_.create(request());
    ASSERT_TRUE(display);
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY0 1280x720 --output DUMMY0 --mode 1280x720"));
    display.reset();
    EXPECT_EQ(displays_.bounds(displays_.main()), (Rect{0, 0, 1280, 720}));
    EXPECT_EQ(screenSize(), (Size{1280, 720}));
}

TEST_F(X11VirtualDisplaysTest, ManyCyclesCostTheServerNothing) {
    constexpr int kCycles = kIsSanitized ? 10 : 200;  // a sanitized guardian starts slowly
    constexpr int kWarmUp = kCycles / 10;
    std::string state;
    long memory = 0;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        auto display = virtualDisplays_.create(request(kTablets));
        ASSERT_TRUE(display) << cycle;
        ASSERT_NE(display->id(), 0u) << cycle;
        display.reset();
        if (cycle != kWarmUp) continue;
        state = serverState(*server_);
        memory = server_->residentKiB();
    }
    EXPECT_EQ(serverState(*server_), state);
    EXPECT_LT(server_->residentKiB() - memory, 512);
}

TEST_F(X11VirtualDisplaysTest, TwoHandlesHaveTwoDisplays) {
    auto first = virtualDisplays_.create(request());
    const auto second = virtualDisplays_.create(request());
    ASSERT_TRUE(first);
    ASSERT_TRUE(second);
    EXPECT_NE(first->id(), second->id());
    EXPECT_EQ(displays_.bounds(second->id()), (Rect{2944, 0, 1024, 768})) << "beside the first one";
    first.reset();
    EXPECT_THAT(displays_.active(), ElementsAre(displays_.main(), second->id()));
    EXPECT_EQ(displays_.identity(second->id()), kOwn);
    EXPECT_EQ(sizes(second->id()), (std::vector<Size>{{1024, 768}}));
}

TEST_F(X11VirtualDisplaysTest, EndsWithAProcessThatIsKilled) {
    HeldDisplay other(request(kTablets));
    ASSERT_TRUE(other.isHeld());
    ASSERT_TRUE(becomes(2));
    other.kill();
    EXPECT_TRUE(becomes(1)) << "the guardian takes it back";
    EXPECT_EQ(screenSize(), (Size{1920, 1080}));
    EXPECT_THAT(ownOutputs(*readScreen(painter_->connection())), IsEmpty());
    EXPECT_TRUE(other.guardianEnds());
}

TEST_F(X11VirtualDisplaysTest, TheGuardianIsNobodysBurden) {
    HeldDisplay other(request());
    ASSERT_TRUE(other.isHeld());
    const auto guardian = other.guardian();
    ASSERT_TRUE(guardian);
    EXPECT_NE(guardian->session, other.session());
    EXPECT_NE(guardian->parent, other.pid());
    EXPECT_THAT(guardian->descriptors, SizeIs(4)) << "three of /dev/null and the server";
    EXPECT_TRUE(kIsSanitized || guardian->privateKiB < 1024) << guardian->privateKiB;
    EXPECT_TRUE(other.hasNoEndedChildren());
    other.release();
    EXPECT_TRUE(becomes(1));
    EXPECT_TRUE(other.guardianEnds());
}

TEST_F(X11VirtualDisplaysTest, ALeftoverGoesWhenItIsAskedFor) {
    HeldDisplay other(request(kTablets));
    ASSERT_TRUE(other.isHeld());
    other.killGuardian();
    other.kill();
    ASSERT_TRUE(becomes(2)) << "nobody is there to take it back";
    const DisplayID leftover = displays_.active()[1];
    EXPECT_EQ(displays_.identity(leftover), kOwn) << "so it can be adopted";
    EXPECT_EQ(sizes(leftover), kTablets);
    virtualDisplays_.removeLeftovers();
    EXPECT_THAT(displays_.active(), SizeIs(1));
    EXPECT_THAT(ownOutputs(*readScreen(painter_->connection())), IsEmpty());
    virtualDisplays_.removeLeftovers();
}

TEST_F(X11VirtualDisplaysTest, ALeftoverIsKnownByItsNumbersWhateverItsName) {
    VirtualDisplayRequest renamed = request();
    renamed.name = "Other";
    HeldDisplay other(renamed);
    ASSERT_TRUE(other.isHeld());
    other.killGuardian();
    other.kill();
    ASSERT_TRUE(becomes(2));
    const DisplayID leftover = displays_.active()[1];
    const auto edid = edidOf(painter_->connection(), leftover);
    EXPECT_NE(std::string(edid.begin(), edid.end()).find("Other\n"), std::string::npos);
    EXPECT_EQ(displays_.identity(leftover), kOwn);
    virtualDisplays_.removeLeftovers();
    EXPECT_THAT(displays_.active(), SizeIs(1));
}

TEST_F(X11VirtualDisplaysTest, ALeftoverMakesRoomForTheNextDisplay) {
    HeldDisplay other(request(kTablets));
    ASSERT_TRUE(other.isHeld());
    ASSERT_TRUE(becomes(2));
    const DisplayID leftover = displays_.active()[1];
    other.killGuardian();
    other.kill();
    const auto display = virtualDisplays_.create(request());
    ASSERT_TRUE(display);
    EXPECT_EQ(display->id(), leftover);
    EXPECT_THAT(displays_.active(), SizeIs(2));
    EXPECT_EQ(sizes(display->id()), (std::vector<Size>{{1024, 768}}));
}

TEST_F(X11VirtualDisplaysTest, TheDisplayOfALivingProcessIsNoLeftover) {
    HeldDisplay other(request());
    ASSERT_TRUE(other.isHeld());
    other.killGuardian();
    virtualDisplays_.removeLeftovers();
    EXPECT_THAT(displays_.active(), SizeIs(2));
    const auto display = virtualDisplays_.create(request());
    ASSERT_TRUE(display);
    EXPECT_THAT(displays_.active(), SizeIs(3));
    other.release();
    EXPECT_TRUE(becomes(2)) << "it still takes its display away itself";
}

TEST_F(X11VirtualDisplaysTest, ADisplayThatWasTurnedOffIsNoneAnyMore) {
    auto display = virtualDisplays_.create(request());
    ASSERT_TRUE(display);
    const std::string name = outputName(painter_->connection(), display->id());
    ASSERT_TRUE(server_->xrandr("--output " + name + " --off"));
    EXPECT_EQ(display->id(), 0u);
    display.reset();
    EXPECT_THAT(displays_.active(), SizeIs(1));
    EXPECT_THAT(ownOutputs(*readScreen(painter_->connection())), IsEmpty());
    EXPECT_TRUE(virtualDisplays_.create(request()));
}

TEST_F(X11VirtualDisplaysTest, OutlivesItsServer) {
    auto display = virtualDisplays_.create(request());
    ASSERT_TRUE(display);
    painter_.reset();
    server_->kill();
    EXPECT_EQ(display->id(), 0u);
    EXPECT_FALSE(virtualDisplays_.create(request()));
    virtualDisplays_.removeLeftovers();
    startServer();
    EXPECT_EQ(display->id(), 0u) << "the next server is another one";
    display.reset();
    EXPECT_TRUE(virtualDisplays_.create(request()));
}

TEST_F(X11VirtualDisplaysTest, OffersOnlyModesThatAreAllowed) {
    auto asked = request({{0, 768}, {4096, 4096}, {1024, 768}, {1024, 768}, {801, 601}});
    asked.maxPixels = {2048, 2048};
    const auto display = virtualDisplays_.create(asked);
    ASSERT_TRUE(display);
    EXPECT_EQ(sizes(display->id()), (std::vector<Size>{{1024, 768}, {801, 601}}));
    asked.maxPixels = {1, 1};
    EXPECT_FALSE(virtualDisplays_.create(asked));
    EXPECT_FALSE(virtualDisplays_.create(request({})));
    auto still = request();
    still.refreshRate = 0;
    EXPECT_FALSE(virtualDisplays_.create(still));
}

TEST_F(X11VirtualDisplaysTest, AModeThatDoesNotFitGivesWayToTheNext) {
    auto asked = request({{32000, 8192}, {1024, 768}});
    asked.maxPixels = {32767, 32767};
    auto display = virtualDisplays_.create(asked);
    ASSERT_TRUE(display);
    EXPECT_EQ(displays_.bounds(display->id()), (Rect{1920, 0, 1024, 768}));
    display.reset();
    asked.modes = {{32000, 8192}};
    EXPECT_FALSE(virtualDisplays_.create(asked));
    EXPECT_EQ(screenSize(), (Size{1920, 1080}));
    EXPECT_THAT(ownOutputs(*readScreen(painter_->connection())), IsEmpty());
}

TEST_F(X11VirtualDisplaysTest, WithoutASpareOutputThereIsNone) {
    std::vector<std::unique_ptr<VirtualDisplay>> all;
    while (auto display = virtualDisplays_.create(request({{64, 64}}))) all.push_back(std::move(display));
    EXPECT_THAT(all, SizeIs(15)) << "all outputs of the driver but the main one";
    all.clear();
    EXPECT_THAT(displays_.active(), SizeIs(1));
    startServer({"-extension", "RANDR"});
    EXPECT_FALSE(virtualDisplays_.create(request()));
}

TEST(X11VirtualDisplaysWithoutServer, AreNone) {
    unsetenv("DISPLAY");
    X11VirtualDisplays virtualDisplays;
    EXPECT_FALSE(virtualDisplays.create(request()));
    virtualDisplays.removeLeftovers();
}

}  // namespace
}  // namespace quillon::testing
