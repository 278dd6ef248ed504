#include "platform/linux/x11_grabber.hpp"

#include <cstring>

#include "tests/linux/allocation_counter.hpp"
#include "tests/linux/x11_fixture.hpp"

namespace quillon::testing {
namespace {

using Way = X11Grabber::Way;

uint32_t pixelAt(const X11Grabber& grabber, int x, int y) {
    const ConstPlane pixels = grabber.pixels();
    uint32_t pixel = 0;
    std::memcpy(&pixel,
                pixels.data + static_cast<ptrdiff_t>(y) * pixels.stride + static_cast<ptrdiff_t>(x) * 4,
                sizeof pixel);
    return pixel & 0xFFFFFF;
}

/// Each way to get pixels gives the same.
class X11GrabberTest : public X11Test, public ::testing::WithParamInterface<Way> {
  protected:
    std::unique_ptr<X11Connection> connection() const { return X11Connection::open(); }
};

TEST_P(X11GrabberTest, FollowsItsPartOfTheScreen) {
    const auto own = connection();
    painter_->fill({0, 0, 1920, 1080}, 0x112233);
    X11Grabber grabber(*own, {100, 50, 301, 201}, GetParam());
    grabber.fetchAll();
    EXPECT_EQ(pixelAt(grabber, 0, 0), 0x112233u);
    EXPECT_EQ(pixelAt(grabber, 300, 200), 0x112233u);

    painter_->fill({90, 40, 20, 20}, 0xFF0000);
    painter_->fill({300, 200, 10, 10}, 0x00FF00);
    const DamageRegion damage = grabber.fetchDamage();
    EXPECT_TRUE(damage.covers({0, 0, 10, 10}));
    EXPECT_TRUE(damage.covers({200, 150, 10, 10}));
    EXPECT_EQ(damage.rects().size(), 2u);
    EXPECT_EQ(pixelAt(grabber, 9, 9), 0xFF0000u);
    EXPECT_EQ(pixelAt(grabber, 10, 9), 0x112233u);
    EXPECT_EQ(pixelAt(grabber, 209, 159), 0x00FF00u);
    EXPECT_TRUE(grabber.fetchDamage().isEmpty());

    painter_->fill({0, 0, 100, 50}, 0x0000FF);
    EXPECT_TRUE(grabber.fetchDamage().isEmpty()) << "outside";
}

TEST_P(X11GrabberTest, MovesToAnotherPart) {
    const auto own = connection();
    painter_->fill({0, 0, 1920, 1080}, 0x112233);
    painter_->fill({1000, 500, 1, 1}, 0xABCDEF);
    X11Grabber grabber(*own, {0, 0, 640, 480}, GetParam());
    grabber.fetchAll();
    grabber.setPlace({1000, 500, 801, 301});
    grabber.fetchAll();
    EXPECT_EQ(pixelAt(grabber, 0, 0), 0xABCDEFu);
    painter_->fill({1800, 800, 1, 1}, 0x00FF00);
    const DamageRegion damage = grabber.fetchDamage();
    ASSERT_EQ(damage.rects().size(), 1u);
    EXPECT_EQ(damage.rects()[0], (PixelRect{800, 300, 1, 1}));
    EXPECT_EQ(pixelAt(grabber, 800, 300), 0x00FF00u);
}

TEST_P(X11GrabberTest, OutlivesTheServer) {
    const auto own = connection();
    X11Grabber grabber(*own, {0, 0, 640, 480}, GetParam());
    server_->kill();
    grabber.fetchAll();
    grabber.fetchDamage();
    EXPECT_FALSE(own->isAlive());
}

class X11GrabberMemoryTest : public X11Test {};

TEST_F(X11GrabberMemoryTest, OnlyXcbTakesItForEachFetch) {
    if (!AllocationCounter::works()) GTEST_SKIP() << "a sanitizer owns the heap";
    constexpr int kFetches = 10;
    constexpr int kOfXcb = 4;  // two for the event, two for the reply
    const auto own = X11Connection::open();
    X11Grabber grabber(*own, {0, 0, 640, 480});
    grabber.fetchAll();
    const AllocationCounter counter;
    size_t ofPainter = 0;
    for (int i = 0; i < kFetches; ++i) {
        const size_t before = counter.count();
        painter_->fill({10 * i, 20, 5, 5}, 0x0000FF);
        ofPainter += counter.count() - before;
        EXPECT_FALSE(grabber.fetchDamage().isEmpty());
        while (own->pollEvent()) {
        }
    }
    EXPECT_LE(counter.count() - ofPainter, static_cast<size_t>(kFetches * kOfXcb));
}

INSTANTIATE_TEST_SUITE_P(EveryWay, X11GrabberTest,
                         ::testing::Values(Way::sharedPixmap, Way::sharedImage, Way::plainImage));

}  // namespace
}  // namespace quillon::testing
