#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <fstream>

#include "device/device.hpp"
#include "tests/shell/desk.hpp"
#include "tests/shell/toolkit.hpp"
#include "tests/support/touched_places.hpp"

// The whole application and the reference device: a finger lands where it touches the panel, however the
// stored settings have the picture fitted to it.

namespace quillon::testing {
namespace {

using device::Device;
using namespace std::chrono_literals;

constexpr Size kPanel{1668, 2388};
constexpr Size kDesktop{1600, 1200};  // the largest for this panel that can be read, of another shape
constexpr int kMainWidth = 1920;      // the display lies to the right of the main one

class ScaledTouchTest : public Desk, public ::testing::WithParamInterface<Scaling> {
  protected:
    void SetUp() override {
        Desk::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        connection_ = xcb_connect(nullptr, nullptr);
        std::filesystem::create_directories(path("config/Quillon"));
        std::ofstream(path("config/Quillon/settings.ini"))
            << "[Settings]\ntransport=usb\nscaling=" << rawValue(GetParam()) << "\nautoStart=true\n";
    }
    ~ScaledTouchTest() override {
        if (connection_ != nullptr) xcb_disconnect(connection_);
    }

    device::Options deviceOptions() const {
        device::Options options;
        options.tcp = false;
        options.muxSocket = path("mux");
        options.headless = true;
        options.panel = kPanel;
        return options;
    }
    /// Where the pointer is on the root window.
    Point pointer() const {
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
        auto* const reply =
            xcb_query_pointer_reply(connection_, xcb_query_pointer(connection_, root), nullptr);
        if (reply == nullptr) return {-1, -1};
        const Point place{static_cast<double>(reply->root_x), static_cast<double>(reply->root_y)};
        std::free(reply);
        return place;
    }

  private:
    xcb_connection_t* connection_ = nullptr;
};

TEST_P(ScaledTouchTest, LandsWhereThePanelIsTouched) {
    Device tablet(deviceOptions(), Device::Shown::whenDecoded);
    tablet.start();
    startApplication();
    ASSERT_TRUE(eventually(
        [&] {
            const auto state = tablet.screen().state();
            return state.settings.display == kDesktop && state.frame &&
                   state.frame->picture->size() == kPanel;
        },
        20s))
        << probe().output();
    ASSERT_EQ(tablet.screen().state().settings.scaling, GetParam());

    const auto [across, down] = shownOn(kPanel, kDesktop, GetParam());
    for (const int y : touchedPixels(down, kPanel.height, kDesktop.height)) {
        for (const int x : touchedPixels(across, kPanel.width, kDesktop.width)) {
            const Point finger{x + 0.5, y + 0.5};  // in the middle of a pixel
            tablet.touch(wire::Input::hover, {finger.x / kPanel.width, finger.y / kPanel.height});
            const Point wanted{kMainWidth + (finger.x - across.start) / across.scale,
                               (finger.y - down.start) / down.scale};
            EXPECT_TRUE(eventually([&] {
                const Point place = pointer();
                return std::abs(place.x - wanted.x) <= 1 && std::abs(place.y - wanted.y) <= 1;
            })) << "at "
                << x << "," << y << " it should be at " << wanted.x << "," << wanted.y << " and is at "
                << pointer().x << "," << pointer().y;
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Scalings, ScaledTouchTest,
                         ::testing::Values(Scaling::fit, Scaling::fill, Scaling::stretch),
                         [](const auto& each) { return std::string(rawValue(each.param)); });

}  // namespace
}  // namespace quillon::testing
