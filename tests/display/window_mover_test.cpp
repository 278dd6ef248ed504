#include "display/window_mover.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/simulated/desktop.hpp"
#include "tests/support/own_home.hpp"

namespace quillon {
namespace {

using simulated::SimulatedDisplays;
using simulated::SimulatedPermissions;
using simulated::SimulatedWindows;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr DisplayID kVirtual = 2;
constexpr Rect kMain{0, 0, 1920, 1080};

/// A window that some fault befell: it is listed, and cannot be moved.
class StubbornWindows : public SimulatedWindows {
  public:
    uint64_t stubborn = 0;
    bool move(uint64_t id, Point origin) override {
        return id != stubborn && SimulatedWindows::move(id, origin);
    }
};

/// A main display of 1920x1080 and to its right a virtual one of 1024x768.
class WindowMoverTest : public testing::Test, protected test::OwnHome {
  protected:
    WindowMoverTest() { displays.all.push_back({kVirtual, {1920, 0, 1024, 768}, {1452, 4096}, {}, {}, {}}); }

    void place(const std::vector<Rect>& frames) {
        windows.windows.clear();
        for (const Rect& frame : frames) windows.windows.push_back({windows.windows.size() + 1, frame});
    }
    std::vector<Rect> frames() const {
        std::vector<Rect> all;
        for (const auto& window : windows.windows) all.push_back(window.frame);
        return all;
    }

    simulated::Machine machine;
    SimulatedDisplays displays{machine};
    StubbornWindows windows;
    SimulatedPermissions permissions;
    WindowMover mover{windows, displays, permissions};
};

TEST_F(WindowMoverTest, AWindowHalfOnTheDisplayIsBroughtBack) {
    place({{1720, 100, 400, 300}});
    mover.moveWindowsOff(kVirtual, kMain);
    EXPECT_THAT(frames(), ElementsAre(Rect{60, 60, 400, 300}));
    EXPECT_THAT(log(), ElementsAre("moved 1 window(s) back to the main display"));
}

TEST_F(WindowMoverTest, AFifthOnTheDisplayIsNotEnough) {
    place({{1920 - 320, 100, 400, 300}, {1920 - 319, 100, 400, 300}});  // 20 %, and a point more
    mover.moveWindowsOff(kVirtual, kMain);
    EXPECT_THAT(frames(), ElementsAre(Rect{1600, 100, 400, 300}, Rect{60, 60, 400, 300}));
}

TEST_F(WindowMoverTest, AWindowSmallerThanAPointCountsByWhatIsShown) {
    place({{2000, 100, 0.5, 0.5}, {2000, 200, 0.4, 0.4}, {2000, 300, 0, 0}});  // 0.25, 0.16, nothing
    mover.moveWindowsOff(kVirtual, kMain);
    EXPECT_THAT(frames(),
                ElementsAre(Rect{60, 60, 0.5, 0.5}, Rect{2000, 200, 0.4, 0.4}, Rect{2000, 300, 0, 0}));
}

TEST_F(WindowMoverTest, EightWindowsFormACascadeOfSix) {
    place(std::vector<Rect>(8, {2000, 100, 400, 300}));
    mover.moveWindowsOff(kVirtual, kMain);
    std::vector<Rect> expected;
    for (const double offset : {0, 30, 60, 90, 120, 150, 0, 30}) {
        expected.push_back({60 + offset, 60 + offset, 400, 300});
    }
    EXPECT_EQ(frames(), expected);
    EXPECT_THAT(log(), ElementsAre("moved 8 window(s) back to the main display"));
}

TEST_F(WindowMoverTest, OnlyMovedWindowsTakeAPlaceInTheCascade) {
    place({{2000, 100, 400, 300}, {10, 10, 400, 300}, {2000, 200, 400, 300}, {2100, 100, 400, 300}});
    windows.stubborn = 3;
    mover.moveWindowsOff(kVirtual, kMain);
    EXPECT_THAT(frames(), ElementsAre(Rect{60, 60, 400, 300}, Rect{10, 10, 400, 300},
                                      Rect{2000, 200, 400, 300}, Rect{90, 90, 400, 300}));
    EXPECT_THAT(log(), ElementsAre("moved 2 window(s) back to the main display"));
}

TEST_F(WindowMoverTest, ALargeWindowStartsAtTheCorner) {
    place({{1920, 0, 4000, 3000}, {1920, 0, 1900, 300}, {1930, 0, 300, 1050}});
    displays.find(kVirtual)->bounds = {1920, 0, 4000, 3000};
    mover.moveWindowsOff(kVirtual, kMain);
    EXPECT_THAT(frames(),
                ElementsAre(Rect{0, 0, 4000, 3000}, Rect{20, 90, 1900, 300}, Rect{120, 30, 300, 1050}))
        << "wholly inside as far as the size allows";
}

TEST_F(WindowMoverTest, TheTargetMayLieAnywhere) {
    place({{2000, 100, 400, 300}});
    mover.moveWindowsOff(kVirtual, {-1280, 200, 1280, 800});
    EXPECT_THAT(frames(), ElementsAre(Rect{-1220, 260, 400, 300}));
}

TEST_F(WindowMoverTest, WithNothingToMoveNothingIsSaid) {
    place({{100, 100, 400, 300}});
    mover.moveWindowsOff(kVirtual, kMain);
    mover.sweepOffscreenWindows();
    EXPECT_THAT(frames(), ElementsAre(Rect{100, 100, 400, 300}));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(WindowMoverTest, ADisplayThatIsGoneHoldsNoWindows) {
    place({{2000, 100, 400, 300}});
    mover.moveWindowsOff(99, kMain);
    EXPECT_THAT(frames(), ElementsAre(Rect{2000, 100, 400, 300}));
}

TEST_F(WindowMoverTest, WithoutPermissionItSaysSoAndMovesNothing) {
    permissions.control = false;
    place({{2000, 100, 400, 300}});
    mover.moveWindowsOff(kVirtual, kMain);
    EXPECT_THAT(frames(), ElementsAre(Rect{2000, 100, 400, 300}));
    EXPECT_THAT(log(), ElementsAre("cannot move windows back: Accessibility not granted"));
}

TEST_F(WindowMoverTest, TheSweepRescuesWhatNoScreenShows) {
    place({{5000, 100, 400, 300},
           {2944, 0, 400, 300},     // begins where the last display ends
           {-399, -299, 400, 300},  // one point is still to be seen
           {2943, 767, 400, 300},
           {2000, 768, 400, 300}});  // below the smaller display
    mover.sweepOffscreenWindows();
    EXPECT_THAT(frames(),
                ElementsAre(Rect{80, 80, 400, 300}, Rect{110, 110, 400, 300}, Rect{-399, -299, 400, 300},
                            Rect{2943, 767, 400, 300}, Rect{140, 140, 400, 300}));
    EXPECT_THAT(log(), ElementsAre("rescued 3 off-screen window(s)"));
}

TEST_F(WindowMoverTest, TheSweepCascadesLikeTheOtherFromItsOwnBase) {
    place(std::vector<Rect>(8, {9000, 100, 400, 300}));
    mover.sweepOffscreenWindows();
    std::vector<Rect> expected;
    for (const double offset : {0, 30, 60, 90, 120, 150, 0, 30}) {
        expected.push_back({80 + offset, 80 + offset, 400, 300});
    }
    EXPECT_EQ(frames(), expected);
}

TEST_F(WindowMoverTest, WithoutPermissionTheSweepIsSilent) {
    permissions.control = false;
    place({{9000, 100, 400, 300}});
    mover.sweepOffscreenWindows();
    EXPECT_THAT(frames(), ElementsAre(Rect{9000, 100, 400, 300}));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(WindowMoverTest, WithoutADisplayTheSweepLeavesEverythingWhereItIs) {
    displays.all.clear();
    place({{9000, 100, 400, 300}});
    mover.sweepOffscreenWindows();
    EXPECT_THAT(frames(), ElementsAre(Rect{9000, 100, 400, 300}));
}

}  // namespace
}  // namespace quillon
