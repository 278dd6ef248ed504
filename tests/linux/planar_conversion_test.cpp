#include "platform/linux/planar_conversion.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "platform/linux/picture_ring.hpp"
#include "tests/linux/allocation_counter.hpp"

namespace quillon::testing {
namespace {

CaptureRequest request(Size output, bool keepsShape = true, std::optional<PixelRect> source = std::nullopt) {
    CaptureRequest request;
    request.output = output;
    request.preservesAspectRatio = keepsShape;
    request.sourceRect = source;
    return request;
}

/// A BGRX screen.
struct Screen {
    explicit Screen(Size pixelSize)
        : size(pixelSize), pixels(static_cast<size_t>(pixelSize.width) * pixelSize.height * 4) {}
    ConstPlane plane() const { return {pixels.data(), size.width * 4}; }
    DamageRegion all() const { return DamageRegion({0, 0, size.width, size.height}); }
    void fill(const PixelRect& rect, uint32_t rgb) {
        for (int y = rect.y; y < rect.bottom(); ++y) {
            for (int x = rect.x; x < rect.right(); ++x) {
                std::memcpy(&pixels[(static_cast<size_t>(y) * size.width + x) * 4], &rgb, 4);
            }
        }
    }
    void noise(const PixelRect& rect, std::mt19937& random) {
        for (int y = rect.y; y < rect.bottom(); ++y) {
            for (int x = rect.x; x < rect.right(); ++x) fill({x, y, 1, 1}, static_cast<uint32_t>(random()));
        }
    }
    Size size;
    std::vector<uint8_t> pixels;
};

PicturePtr converted(PlanarConverter& converter, PictureRing& ring, const Screen& screen) {
    const Size output = converter.layout().output;
    Picture& picture = ring.begin(DamageRegion({0, 0, output.width, output.height}));
    converter.paintBars(picture);
    converter.convert(screen.plane(), screen.all(), picture);
    return ring.publish();
}

/// The first place where two pictures differ, or "".
std::string difference(const Picture& a, const Picture& b) {
    for (size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        for (int y = 0; y < a.height >> shift; ++y) {
            for (int x = 0; x < a.width >> shift; ++x) {
                const int one = planeAt(a, plane, x << shift, y << shift)[0];
                const int other = planeAt(b, plane, x << shift, y << shift)[0];
                if (one != other) {
                    return "plane " + std::to_string(plane) + " at " + std::to_string(x) + "," +
                           std::to_string(y) + ": " + std::to_string(one) + " and " + std::to_string(other);
                }
            }
        }
    }
    return "";
}

struct Case {
    const char* name;
    Size display;
    CaptureRequest request;
};

void PrintTo(const Case& each, std::ostream* out) {
    *out << each.name;
}

class PartialConversion : public ::testing::TestWithParam<Case> {};

TEST_P(PartialConversion, EqualsTheWholeToTheLastBit) {
    const auto& [name, display, asked] = GetParam();
    std::mt19937 random(11);
    Screen screen(display);
    screen.noise({0, 0, display.width, display.height}, random);
    PlanarConverter partial(PictureLayout::of(display, asked));
    PlanarConverter whole(PictureLayout::of(display, asked));
    PictureRing ring(asked.output);
    PictureRing reference(asked.output);
    PicturePtr held = converted(partial, ring, screen);
    const auto upTo = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    for (int round = 0; round < 25; ++round) {
        DamageRegion damage;
        for (int i = 0; i <= round % 3; ++i) {
            PixelRect rect{upTo(display.width), upTo(display.height), 1 + upTo(60), 1 + upTo(40)};
            rect = intersection(rect, {0, 0, display.width, display.height});
            screen.noise(rect, random);
            damage.add(rect);
        }
        const DamageRegion changing = partial.outputDamage(damage);
        Picture& picture = ring.begin(changing);
        partial.convert(screen.plane(), damage, picture);
        const PicturePtr updated = ring.publish();
        ASSERT_EQ(difference(*updated, *converted(whole, reference, screen)), "") << "round " << round;
        if (round % 4 != 0) held = updated;  // sometimes the ring writes in place, sometimes it must not
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, PartialConversion,
    ::testing::Values(
        Case{"same size", {320, 240}, request({320, 240})},
        Case{"only bars", {320, 180}, request({320, 240})},
        Case{"pillars and smaller", {300, 240}, request({200, 120})},
        Case{"a little smaller", {640, 400}, request({480, 300})},
        Case{"larger", {192, 108}, request({256, 192})},
        Case{"much smaller", {640, 480}, request({64, 48}, false)},
        Case{"odd display", {321, 241}, request({160, 120})},
        Case{"odd display stretched larger", {101, 61}, request({256, 192}, false)},
        Case{"wider but lower", {200, 300}, request({320, 100}, false)},
        Case{"crop without scaling", {400, 200}, request({300, 200}, true, PixelRect{51, 0, 300, 200})},
        Case{"crop and larger", {192, 108}, request({256, 192}, true, PixelRect{24, 0, 144, 108})},
        Case{"crop with odd edges", {193, 109}, request({128, 96}, true, PixelRect{25, 1, 143, 107})},
        Case{"tiny output", {320, 240}, request({2, 2})},
        Case{"tiny display", {1, 1}, request({64, 48}, false)}));

TEST(PictureLayout, FitsBetweenBarsInTheMiddle) {
    const auto layout = PictureLayout::of({1920, 1080}, request({2048, 1536}));
    EXPECT_EQ(layout.source, (PixelRect{0, 0, 1920, 1080}));
    EXPECT_EQ(layout.target, (PixelRect{0, 192, 2048, 1152}));
    EXPECT_EQ(PictureLayout::of({1000, 2000}, request({2048, 1536})).target, (PixelRect{640, 0, 768, 1536}));
}

TEST(PictureLayout, FitHasNoBarsForTheSameShape) {
    EXPECT_EQ(PictureLayout::of({1366, 768}, request({1024, 576})).target, (PixelRect{0, 0, 1024, 576}));
    EXPECT_EQ(PictureLayout::of({801, 601}, request({800, 600})).target, (PixelRect{0, 0, 800, 600}));
    EXPECT_FALSE(PictureLayout::of({2048, 1536}, request({2048, 1536})).isScaled());
}

TEST(PictureLayout, FitNeverVanishes) {
    EXPECT_EQ(PictureLayout::of({8000, 2}, request({100, 100})).target, (PixelRect{0, 48, 100, 2}));
}

TEST(PictureLayout, StretchAndCropFillTheOutput) {
    EXPECT_EQ(PictureLayout::of({1920, 1080}, request({2048, 1536}, false)).target,
              (PixelRect{0, 0, 2048, 1536}));
    const PixelRect crop{240, 0, 1440, 1080};
    const auto layout = PictureLayout::of({1920, 1080}, request({2048, 1536}, true, crop));
    EXPECT_EQ(layout.source, crop);
    EXPECT_EQ(layout.target, (PixelRect{0, 0, 2048, 1536}));
}

TEST(PictureLayout, ACropIsClippedToTheDisplay) {
    const PixelRect crop{240, 0, 1440, 1080};
    EXPECT_EQ(PictureLayout::of({800, 600}, request({2048, 1536}, true, crop)).source,
              (PixelRect{240, 0, 560, 600}));
    EXPECT_EQ(PictureLayout::of({200, 600}, request({2048, 1536}, true, crop)).source,
              (PixelRect{0, 0, 200, 600}));
}

TEST(PlanarConverter, KeepsFlatColoursExact) {
    for (const Size output : {Size{320, 240}, Size{200, 150}, Size{640, 480}, Size{32, 24}}) {
        Screen screen({320, 240});
        screen.fill({0, 0, 320, 240}, 0xFFFFFF);
        PlanarConverter converter(PictureLayout::of(screen.size, request(output)));
        PictureRing ring(output);
        const PicturePtr picture = converted(converter, ring, screen);
        for (int y = 0; y < output.height; ++y) {
            for (int x = 0; x < output.width; ++x) {
                ASSERT_EQ(*planeAt(*picture, 0, x, y), 235);
                ASSERT_EQ(*planeAt(*picture, 1, x, y), 128);
                ASSERT_EQ(*planeAt(*picture, 2, x, y), 128);
            }
        }
    }
}

TEST(PlanarConverter, AveragesWhatAPixelCovers) {
    Screen screen({8, 4});
    screen.fill({0, 0, 8, 4}, 0);
    screen.fill({0, 0, 2, 4}, 0xFFFFFF);
    PlanarConverter converter(PictureLayout::of(screen.size, request({2, 2}, false)));
    PictureRing ring({2, 2});
    const PicturePtr picture = converted(converter, ring, screen);
    EXPECT_EQ(*planeAt(*picture, 0, 0, 0), (235 + 16 + 1) / 2);
    EXPECT_EQ(*planeAt(*picture, 0, 1, 0), 16);
}

TEST(PlanarConverter, DamageOutsideTheCropChangesNothing) {
    const PlanarConverter converter(
        PictureLayout::of({400, 200}, request({300, 200}, true, PixelRect{50, 0, 300, 200})));
    EXPECT_TRUE(converter.outputDamage(DamageRegion({0, 0, 50, 200})).isEmpty());
    const DamageRegion damage = converter.outputDamage(DamageRegion({49, 10, 2, 2}));
    ASSERT_EQ(damage.rects().size(), 1u);
    EXPECT_EQ(damage.rects()[0], (PixelRect{0, 10, 2, 2}));
}

TEST(PlanarConverter, SmallDamageStaysSmallWhenScaled) {
    const PlanarConverter converter(PictureLayout::of({1920, 1080}, request({2048, 1536})));
    const DamageRegion damage = converter.outputDamage(DamageRegion({960, 540, 2, 16}));
    ASSERT_EQ(damage.rects().size(), 1u);
    EXPECT_LE(damage.rects()[0].width, 8);
    EXPECT_LE(damage.rects()[0].height, 24);
    EXPECT_TRUE(contains(damage.rects()[0], {1024, 192 + 576, 2, 16}));
}

TEST(PlanarConverter, AllocatesNothingAfterTheFirstPictures) {
    if (!AllocationCounter::works()) GTEST_SKIP() << "a sanitizer owns the heap";
    for (const Size output : {Size{640, 480}, Size{400, 300}}) {
        Screen screen({640, 480});
        PlanarConverter converter(PictureLayout::of(screen.size, request(output)));
        PictureRing ring(output);
        std::array<PicturePtr, PictureRing::kPictures - 1> held;
        for (auto& each : held) each = converted(converter, ring, screen);
        converted(converter, ring, screen);
        const AllocationCounter counter;
        for (size_t i = 0; i < 100; ++i) {
            const DamageRegion damage({static_cast<int>(i) * 5, static_cast<int>(i) * 3, 40, 30});
            Picture& picture = ring.begin(converter.outputDamage(damage));
            converter.convert(screen.plane(), damage, picture);
            held[i % held.size()] = ring.publish();
        }
        EXPECT_EQ(counter.count(), 0u);
    }
}

}  // namespace
}  // namespace quillon::testing
