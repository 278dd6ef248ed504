#include "device/finger.hpp"

#include <gtest/gtest.h>

namespace quillon::device {
namespace {

using wire::Input;

/// 16:10 in 4:3: bars take the upper and the lower twelfth.
const PictureLayout kWithBars({1600, 1000}, {2048, 1536}, Scaling::fit);

TEST(Finger, TouchesTheDisplayWhereThePictureShowsIt) {
    Finger finger;
    const auto input = finger.touch(Input::press, {0.25, 0.25}, kWithBars);
    ASSERT_TRUE(input);
    EXPECT_EQ(input->action, Input::press);
    EXPECT_FLOAT_EQ(input->x, 0.25F);
    EXPECT_FLOAT_EQ(input->y, 0.2F);
}

TEST(Finger, CannotPressOrHoverOverABar) {
    Finger finger;
    for (const uint8_t action : {Input::hover, Input::press, Input::drag, Input::release}) {
        EXPECT_FALSE(finger.touch(action, {0.5, 0.05}, kWithBars));
        EXPECT_FALSE(finger.isDown());
    }
}

TEST(Finger, ThatWandersOntoABarStaysInTouch) {
    Finger finger;
    finger.touch(Input::press, {0.5, 0.5}, kWithBars);
    const auto drag = finger.touch(Input::drag, {1.5, 0.05}, kWithBars);
    ASSERT_TRUE(drag);
    EXPECT_EQ(drag->x, 1);
    EXPECT_EQ(drag->y, 0);
    EXPECT_TRUE(finger.touch(Input::release, {0.5, 0.05}, kWithBars));
    EXPECT_FALSE(finger.isDown());
    EXPECT_FALSE(finger.touch(Input::release, {0.5, 0.5}, kWithBars)) << "each press has one release";
}

}  // namespace
}  // namespace quillon::device
