#include "display/virtual_display.hpp"

#include <gtest/gtest.h>

#include "platform/simulated/desktop.hpp"

namespace quillon::testing {
namespace {

using simulated::SimulatedDisplays;
using simulated::SimulatedVirtualDisplays;

class VirtualDisplayTest : public ::testing::Test {
  protected:
    std::unique_ptr<VirtualDisplay> create(std::vector<Size> modes) {
        return createVirtualDisplay(service_, {"Tablet", std::move(modes), false, {8192, 8192}, 60});
    }
    simulated::Machine machine_;
    SimulatedDisplays displays_{machine_};
    SimulatedVirtualDisplays service_{displays_};
};

TEST_F(VirtualDisplayTest, ModesWithoutASizeAreLeftOut) {
    service_.hiDPI = false;
    const auto display = create({{0, 768}, {1024, 768}, {-1, -1}, {800, 600}, {800, 0}});
    ASSERT_TRUE(display);
    const auto modes = displays_.modes(display->id());
    ASSERT_EQ(modes.size(), 2u);
    EXPECT_EQ(modes[0].width, 1024);
    EXPECT_EQ(modes[1].width, 800);
}

TEST_F(VirtualDisplayTest, WithoutAModeTheSystemIsNotAsked) {
    EXPECT_FALSE(create({}));
    EXPECT_FALSE(create({{0, 0}}));
    EXPECT_EQ(service_.attempts, 0);
}

TEST_F(VirtualDisplayTest, ARefusalIsNoDisplay) {
    service_.offered = false;
    EXPECT_FALSE(create({{1024, 768}}));
    EXPECT_EQ(service_.attempts, 1);
}

}  // namespace
}  // namespace quillon::testing
