#include <xcb/randr.h>

#include <cstdlib>
#include <future>
#include <set>

#include "tests/linux/x11_capture_fixture.hpp"
#include "tests/support/x11_gate.hpp"

// What happens just in the middle of what the capture does.

namespace quillon::testing {
namespace {

/// A capture whose requests can be held up, of a second display of 800x600 beside the first.
class HeldX11CaptureTest : public X11CaptureTest {
  protected:
    void SetUp() override {
        X11CaptureTest::SetUp();
        if (!server_) return;
        startServer({"-extension", "MIT-SHM"});
        if (HasFatalFailure()) return;
        ASSERT_TRUE(server_->xrandr("--newmode small 40 800 840 900 1000 600 601 604 666"));
        ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 small"));
        placeSecond("--right-of");
        paint();
        randr_ = painter_->connection().extension(xcb_randr_id)->major_opcode;
        second_ = request({800, 600});
        second_.display = capture_.shareableDisplays().at(1).id;
        gate_ = std::make_unique<X11Gate>(server_->display(),
                                          [this](const X11Gate::Request& each) { pass(each); });
    }
    void TearDown() override {
        stream_.reset();
        gate_.reset();
    }

    void placeSecond(const std::string& side) {
        EXPECT_TRUE(server_->xrandr("--output DUMMY1 --mode small " + side + " DUMMY0"));
    }
    /// The second display is red on the right of the first one, and green below it.
    void paint() {
        painter_->fill({0, 0, 4000, 3000}, kBlack);
        painter_->fill({1920, 0, 800, 600}, kRed);
        painter_->fill({0, 1080, 800, 600}, kGreen);
    }
    void startThroughTheGate() {
        setenv("DISPLAY", gate_->display().c_str(), 1);
        start(second_);
        setenv("DISPLAY", server_->display().c_str(), 1);
    }
    /// Once, before a request of this kind passes, `action` is done. Nothing is held up meanwhile.
    void holdUp(const X11Gate::Request& request, std::function<void()> action) {
        const std::lock_guard guard(lock_);
        held_ = request;
        action_ = std::move(action);
    }
    bool isHeldUp() {
        const std::lock_guard guard(lock_);
        return !action_;
    }
    std::set<X11Gate::Request> takeSeen() {
        const std::lock_guard guard(lock_);
        return std::exchange(seen_, {});
    }

    CaptureRequest second_;
    uint8_t randr_ = 0;
    std::unique_ptr<X11Gate> gate_;

  private:
    void pass(const X11Gate::Request& request) {
        std::function<void()> action;
        {
            const std::lock_guard guard(lock_);
            seen_.insert(request);
            if (request == held_) action = std::exchange(action_, nullptr);
        }
        if (action) action();
    }

    std::mutex lock_;
    std::set<X11Gate::Request> seen_;
    X11Gate::Request held_;
    std::function<void()> action_;
};

TEST_F(HeldX11CaptureTest, ADisplayMayMoveAtAnyMomentOfTheStart) {
    startThroughTheGate();
    stream_.reset();
    for (const X11Gate::Request& request : takeSeen()) {
        if (request.major != randr_) continue;
        SCOPED_TRACE("before request " + std::to_string(request.minor) + " of RandR");
        holdUp(request, [this] {
            placeSecond("--below");
            paint();
        });
        startThroughTheGate();
        ASSERT_TRUE(isHeldUp());
        EXPECT_TRUE(receiver_.waitForColor(400, 300, kGreenYuv));
        stream_.reset();
        placeSecond("--right-of");
        paint();
        receiver_.forget();
    }
}

TEST_F(HeldX11CaptureTest, WhatIsDrawnWhileItAsksAboutDisplaysIsShown) {
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY2 small"));
    startThroughTheGate();
    ASSERT_TRUE(receiver_.waitForColor(400, 300, kRedYuv));
    std::promise<void> changed;
    holdUp({randr_, XCB_RANDR_GET_SCREEN_RESOURCES_CURRENT}, [&] {
        changed.get_future().wait();
        painter_->fill({1920, 0, 800, 600}, kBlue);
    });
    // Every report of the change comes before the answer to the first question about it, and so does that of
    // the drawing: nothing comes afterwards that could wake anyone.
    ASSERT_TRUE(server_->xrandr("--output DUMMY2 --mode small --below DUMMY0"));
    changed.set_value();
    EXPECT_TRUE(receiver_.waitForColor(400, 300, kBlueYuv));
    EXPECT_TRUE(isHeldUp());
}

}  // namespace
}  // namespace quillon::testing
