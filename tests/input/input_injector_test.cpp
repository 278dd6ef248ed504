#include "input/input_injector.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "platform/simulated/desktop.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {
namespace {

using simulated::SimulatedPointer;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();

class InputInjectorTest : public testing::Test {
  protected:
    void touch(uint8_t action, float x, float y) {
        injector.handle(wire::inputPayload({action, x, y, 0, 0}));
    }
    void scroll(float dx, float dy) {
        injector.handle(wire::inputPayload({wire::Input::scroll, 0.5F, 0.5F, dx, dy}));
    }

    SimulatedPointer pointer;
    InputInjector injector{pointer, {1920, 0, 1280, 800}};
};

TEST_F(InputInjectorTest, EachActionPostsItsEventAtTheMappedPoint) {
    touch(1, 0.5F, 0.5F);
    touch(2, 0.25F, 0.75F);
    touch(3, 0, 1);
    for (const uint8_t action : std::initializer_list<uint8_t>{0, 5, 9, 255}) touch(action, 0.125F, 0.5F);
    using Event = Pointer::Event;
    EXPECT_THAT(pointer.posted, ElementsAre(SimulatedPointer::Posted{Event::press, {2560, 400}},
                                            SimulatedPointer::Posted{Event::drag, {2240, 600}},
                                            SimulatedPointer::Posted{Event::release, {1920, 800}},
                                            SimulatedPointer::Posted{Event::move, {2080, 400}},
                                            SimulatedPointer::Posted{Event::move, {2080, 400}},
                                            SimulatedPointer::Posted{Event::move, {2080, 400}},
                                            SimulatedPointer::Posted{Event::move, {2080, 400}}));
    EXPECT_THAT(pointer.scrolled, IsEmpty());
}

TEST_F(InputInjectorTest, PlacesOutsideTheDisplayAreNotClamped) {
    touch(0, 1.25F, -0.5F);
    EXPECT_EQ(pointer.posted.at(0).place, (Point{1920 + 1600, -400}));
}

TEST_F(InputInjectorTest, ShortPayloadsAreIgnoredAndLongOnesCut) {
    Bytes payload = wire::inputPayload({1, 0.5F, 0.5F, 0, 0});
    payload.resize(20, 0xFF);
    for (size_t size = 0; size < 17; ++size) injector.handle(ByteView(payload).first(size));
    EXPECT_THAT(pointer.posted, IsEmpty());
    injector.handle(payload);
    EXPECT_THAT(pointer.posted, ElementsAre(SimulatedPointer::Posted{Pointer::Event::press, {2560, 400}}));
}

TEST_F(InputInjectorTest, ScrollsAgainstTheSignOfTheWire) {
    scroll(0, 12.7F);
    scroll(3.9F, -30.2F);
    EXPECT_THAT(pointer.scrolled,
                ElementsAre(SimulatedPointer::Scrolled{-12, 0}, SimulatedPointer::Scrolled{30, -3}));
    EXPECT_THAT(pointer.posted, IsEmpty());
}

TEST_F(InputInjectorTest, WhatNoFingerSendsIsDropped) {
    for (const float bad : {kNoNumber, kInfinity, -kInfinity, 3e38F, -1e9F}) {
        for (const uint8_t action : std::initializer_list<uint8_t>{0, 1, 2, 9}) {
            touch(action, bad, 0.5F);
            touch(action, 0.5F, bad);
        }
    }
    for (const float bad : {kNoNumber, kInfinity, -kInfinity, 3e38F, -3e9F}) {
        scroll(bad, 1);
        scroll(1, bad);
    }
    EXPECT_THAT(pointer.posted, IsEmpty());
    EXPECT_THAT(pointer.scrolled, IsEmpty());
}

TEST_F(InputInjectorTest, AReleaseEndsThePressWhereverItIs) {
    touch(3, kNoNumber, 0.25F);
    touch(3, kInfinity, -3e38F);
    touch(3, -1e9F, kNoNumber);
    constexpr auto kRelease = Pointer::Event::release;
    EXPECT_THAT(pointer.posted, ElementsAre(SimulatedPointer::Posted{kRelease, {2560, 200}},
                                            SimulatedPointer::Posted{kRelease, {3200, 0}},
                                            SimulatedPointer::Posted{kRelease, {1920, 400}}));
}

TEST_F(InputInjectorTest, ScrollsAsFarAs32BitsReach) {
    constexpr float kSmallest = -2147483648.0F, kLargest = 2147483520.0F;  // that a float and 32 bits hold
    scroll(kLargest, -kSmallest);
    EXPECT_THAT(pointer.scrolled,
                ElementsAre(SimulatedPointer::Scrolled{std::numeric_limits<int32_t>::min(), -2147483520}));
    scroll(0, kSmallest);
    EXPECT_EQ(pointer.scrolled.size(), 1u) << "turned round it is one too many";
}

TEST_F(InputInjectorTest, NumbersThatAnActionDoesNotUseAreNotLookedAt) {
    injector.handle(wire::inputPayload({wire::Input::scroll, kNoNumber, kInfinity, 0, 5}));
    injector.handle(wire::inputPayload({wire::Input::press, 0.5F, 0.5F, kNoNumber, kInfinity}));
    EXPECT_EQ(pointer.scrolled.size(), 1u);
    EXPECT_EQ(pointer.posted.size(), 1u);
}

TEST(WholePixels, AreCutTowardsZero) {
    EXPECT_EQ(wholePixels(12.7), 12);
    EXPECT_EQ(wholePixels(-12.7), -12);
    EXPECT_EQ(wholePixels(0.99), 0);
    EXPECT_EQ(wholePixels(1e300), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(wholePixels(-1e300), std::numeric_limits<int32_t>::min());
}

}  // namespace
}  // namespace quillon
