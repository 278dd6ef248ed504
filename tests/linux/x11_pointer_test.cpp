#include "platform/linux/x11_pointer.hpp"

#include <xcb/xcb.h>

#include <climits>

#include "tests/linux/x11_fixture.hpp"

namespace quillon::testing {
namespace {

constexpr Duration kLimit = 10s;

class X11PointerTest : public X11Test {
  protected:
    std::optional<Point> locationAfterPosting() {
        painter_->settle();
        return pointer_.location();
    }
    /// Runs the loop until `predicate` holds, at most so long.
    template <typename Predicate>
    bool runUntil(Predicate predicate, Duration limit = kLimit) {
        bool late = false;
        const auto alarm = loop_.addTimer(limit, RunLoop::Repeat::once,
                                          [&] {
                                              late = true;
                                              loop_.stop();
                                          },
                                          {});
        const auto check = loop_.addTimer(1ms, RunLoop::Repeat::forever,
                                          [&] {
                                              if (predicate()) loop_.stop();
                                          },
                                          {});
        loop_.run();
        return !late;
    }

    LinuxRunLoop loop_;
    X11Pointer pointer_{loop_};
};

TEST_F(X11PointerTest, TellsItsPlace) {
    painter_->warp(123, 456);
    EXPECT_EQ(pointer_.location(), (Point{123, 456}));
}

TEST_F(X11PointerTest, TheMainDisplaysCornerIsTheOrigin) {
    ASSERT_TRUE(server_->xrandr("--newmode small 40 800 840 900 1000 600 601 604 666"));
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 small"));
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --mode small --right-of DUMMY0 --primary"));
    painter_->warp(10, 20);
    EXPECT_EQ(pointer_.location(), (Point{10 - 1920, 20}));
    pointer_.post(Pointer::Event::move, {5, 6});
    EXPECT_EQ(locationAfterPosting(), (Point{5, 6}));
}

TEST_F(X11PointerTest, PostsMotionAndButtons) {
    X11Connection& connection = painter_->connection();
    const uint32_t events = XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE;
    xcb_change_window_attributes(connection.get(), connection.root(), XCB_CW_EVENT_MASK, &events);
    painter_->settle();
    pointer_.post(Pointer::Event::press, {100, 200});
    pointer_.post(Pointer::Event::drag, {110, 210});
    pointer_.post(Pointer::Event::release, {120, 220});
    EXPECT_EQ(locationAfterPosting(), (Point{120, 220}));
    painter_->settle();
    std::vector<std::array<int, 4>> seen;
    while (const auto event = connection.pollEvent()) {
        const auto* button = reinterpret_cast<const xcb_button_press_event_t*>(event.get());
        seen.push_back({event->response_type, button->detail, button->root_x, button->root_y});
    }
    EXPECT_EQ(seen, (std::vector<std::array<int, 4>>{{XCB_BUTTON_PRESS, 1, 100, 200},
                                                     {XCB_BUTTON_RELEASE, 1, 120, 220}}));
}

/// Counts the clicks of the wheels.
class X11ScrollTest : public X11PointerTest {
  protected:
    void SetUp() override {
        X11PointerTest::SetUp();
        if (!painter_) return;
        X11Connection& connection = painter_->connection();
        const uint32_t events = XCB_EVENT_MASK_BUTTON_PRESS;
        xcb_change_window_attributes(connection.get(), connection.root(), XCB_CW_EVENT_MASK, &events);
        painter_->settle();
    }
    std::vector<int> clicks() {
        locationAfterPosting();
        painter_->settle();
        std::vector<int> buttons;
        while (const auto event = painter_->connection().pollEvent()) {
            buttons.push_back(reinterpret_cast<const xcb_button_press_event_t*>(event.get())->detail);
        }
        return buttons;
    }
};

TEST_F(X11ScrollTest, AClickPerFifteenPixelsAndTheRestIsKept) {
    pointer_.postScroll(10, 0);
    EXPECT_EQ(clicks(), std::vector<int>{});
    pointer_.postScroll(0, -31);
    EXPECT_EQ(clicks(), (std::vector<int>{7, 7}));
    pointer_.postScroll(10, 0);
    EXPECT_EQ(clicks(), std::vector<int>{4}) << "5 of the 20 are left";
    pointer_.postScroll(-15, 15);
    EXPECT_EQ(clicks(), (std::vector<int>{5, 6})) << "turning back forgets what was left";
    pointer_.postScroll(INT_MAX, INT_MIN);
    EXPECT_EQ(clicks().size(), 200u);
}

TEST_F(X11ScrollTest, SlowFingersLoseNothing) {
    for (int i = 0; i < 120; ++i) pointer_.postScroll(-0.5, 0.125);  // 60 pixels, 15 pixels
    EXPECT_EQ(clicks(), (std::vector<int>{5, 5, 5, 5, 6}));
    for (int i = 0; i < 59; ++i) pointer_.postScroll(0.25, 0);
    EXPECT_EQ(clicks(), std::vector<int>{});
    pointer_.postScroll(0.25, 0);
    EXPECT_EQ(clicks(), std::vector<int>{4});
}

TEST_F(X11ScrollTest, TheAxesAreIndependent) {
    pointer_.postScroll(-14, -14);
    pointer_.postScroll(-1, 1);
    EXPECT_EQ(clicks(), std::vector<int>{5}) << "only the horizontal one has turned";
    pointer_.postScroll(0, 14);
    EXPECT_EQ(clicks(), std::vector<int>{6});
}

TEST_F(X11PointerTest, ObservesMotion) {
    int motions = 0;
    const auto observation = pointer_.observeMotion([&] { ++motions; });
    ASSERT_TRUE(observation);
    pointer_.post(Pointer::Event::move, {50, 60});
    const Instant begin = loop_.now();
    ASSERT_TRUE(runUntil([&] { return motions > 0; }));
    EXPECT_LT(loop_.now() - begin, 450ms) << "the event told, not the look at low rate";
}

TEST_F(X11PointerTest, ObservesAWarpThatMakesNoEvent) {
    int motions = 0;
    const auto observation = pointer_.observeMotion([&] { ++motions; });
    painter_->warp(50, 60);
    EXPECT_TRUE(runUntil([&] { return motions > 0; }));
}

TEST_F(X11PointerTest, ARestingPointerIsQuiet) {
    painter_->warp(5, 5);
    int motions = 0;
    const auto observation = pointer_.observeMotion([&] { ++motions; });
    EXPECT_FALSE(runUntil([&] { return motions > 0; }, 1100ms));
}

TEST_F(X11PointerTest, AnObservationMayEndFromInside) {
    std::unique_ptr<Pointer::Observation> observation;
    bool told = false;
    observation = pointer_.observeMotion([&] {
        observation.reset();
        told = true;
    });
    pointer_.post(Pointer::Event::move, {50, 60});
    EXPECT_TRUE(runUntil([&] { return told; }));
}

TEST_F(X11PointerTest, OutlivesTheServerAndFindsTheNext) {
    int motions = 0;
    const auto observation = pointer_.observeMotion([&] { ++motions; });
    painter_.reset();
    server_->kill();
    EXPECT_EQ(pointer_.location(), std::nullopt);
    pointer_.post(Pointer::Event::move, {1, 2});
    pointer_.postScroll(30, 0);
    EXPECT_FALSE(runUntil([&] { return motions > 0; }, 600ms));
    startServer();
    ASSERT_TRUE(runUntil([&] {
        pointer_.post(Pointer::Event::move, {static_cast<double>(motions + 40), 60});
        return motions > 0 || pointer_.location() == Point{40, 60};
    }));
    int steps = 0;
    EXPECT_TRUE(runUntil([&] {
        pointer_.post(Pointer::Event::move, {static_cast<double>(++steps % 500), 60});
        return motions > 0;
    }));
}

TEST(X11PointerWithoutServer, KnowsNoPlace) {
    unsetenv("DISPLAY");
    LinuxRunLoop loop;
    X11Pointer pointer(loop);
    EXPECT_EQ(pointer.location(), std::nullopt);
    pointer.post(Pointer::Event::press, {1, 2});
    EXPECT_TRUE(pointer.observeMotion([] {}));
}

}  // namespace
}  // namespace quillon::testing
