#include "platform/linux/bgrx_to_i420.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace quillon::testing {
namespace {

/// A BGRX picture whose rows are `slack` bytes longer than its pixels.
class Pixels {
  public:
    explicit Pixels(Size size, int slack = 0)
        : size_(size), stride_(size.width * 4 + slack), bytes_(static_cast<size_t>(stride_) * size.height) {}

    Size size() const { return size_; }
    ConstPlane plane() const { return {bytes_.data(), stride_}; }
    uint32_t at(int x, int y) const {
        uint32_t pixel = 0;
        std::memcpy(&pixel, &bytes_[indexOf(x, y)], sizeof pixel);
        return pixel;
    }
    void set(int x, int y, uint32_t pixel) { std::memcpy(&bytes_[indexOf(x, y)], &pixel, sizeof pixel); }
    void noise(unsigned seed) {
        std::mt19937 random(seed);
        for (uint8_t& byte : bytes_) byte = static_cast<uint8_t>(random());
    }

  private:
    size_t indexOf(int x, int y) const {
        return static_cast<size_t>(y) * stride_ + static_cast<size_t>(x) * 4;
    }

    Size size_;
    int stride_;
    std::vector<uint8_t> bytes_;
};

/// Planes whose rows are `slack` bytes longer than their samples. Equal when all bytes are.
class Planes {
  public:
    static constexpr uint8_t kUntouched = 0xA5;

    explicit Planes(Size size, int slack = 0) {
        const Size half{(size.width + 1) / 2, (size.height + 1) / 2};
        for (size_t i = 0; i < 3; ++i) {
            const Size own = i == 0 ? size : half;
            strides_[i] = own.width + slack;
            bytes_[i].assign(static_cast<size_t>(strides_[i]) * own.height, kUntouched);
        }
    }
    std::array<Picture::Plane, 3> planes() {
        return {{{bytes_[0].data(), strides_[0]},
                 {bytes_[1].data(), strides_[1]},
                 {bytes_[2].data(), strides_[2]}}};
    }
    int at(size_t plane, int x, int y) const {
        return bytes_[plane][static_cast<size_t>(y) * strides_[plane] + x];
    }
    bool operator==(const Planes&) const = default;

  private:
    std::array<int, 3> strides_{};
    std::array<std::vector<uint8_t>, 3> bytes_;
};

Planes converted(const Pixels& pixels, int slack = 0) {
    Planes planes(pixels.size(), slack);
    convertBgrxToI420(pixels.plane(), pixels.size(), planes.planes());
    return planes;
}

Planes convertedPortably(const Pixels& pixels, int slack = 0) {
    Planes planes(pixels.size(), slack);
    convertBgrxToI420Portably(pixels.plane(), pixels.size(), planes.planes());
    return planes;
}

std::array<double, 3> exactly(double r, double g, double b) {
    const double luma = 0.299 * r + 0.587 * g + 0.114 * b;
    return {16 + 219 * luma / 255, 128 + 224 * (b - luma) / (2 * 0.886 * 255),
            128 + 224 * (r - luma) / (2 * 0.701 * 255)};
}

std::array<double, 3> exactly(uint32_t pixel) {
    return exactly(pixel >> 16 & 0xFF, pixel >> 8 & 0xFF, pixel & 0xFF);
}

/// Half a step, and what tells a value in the middle of two steps from one beside it.
constexpr double kRounding = 0.5 + 1e-5;

/// The samples of even-sized planes that are not the whole number nearest to the exact value.
int wrongSamples(const Planes& planes, const Pixels& pixels) {
    int wrong = 0;
    const auto check = [&](double exact, int sample) { wrong += std::abs(exact - sample) > kRounding; };
    for (int y = 0; y < pixels.size().height; y += 2) {
        for (int x = 0; x < pixels.size().width; x += 2) {
            std::array<double, 3> sum{};
            for (const auto& [px, py] : {std::pair{x, y}, {x + 1, y}, {x, y + 1}, {x + 1, y + 1}}) {
                const std::array<double, 3> exact = exactly(pixels.at(px, py));
                check(exact[0], planes.at(0, px, py));
                for (size_t i = 0; i < 3; ++i) sum[i] += exact[i];
            }
            check(sum[1] / 4, planes.at(1, x / 2, y / 2));
            check(sum[2] / 4, planes.at(2, x / 2, y / 2));
        }
    }
    return wrong;
}

TEST(BgrxToI420, RoundsEveryColourToTheNearest) {
    // All greens and blues of one red at a time. Each block of two by two pixels is of one colour.
    Pixels pixels({512, 512});
    for (uint32_t red = 0; red < 256; ++red) {
        for (int y = 0; y < 512; ++y) {
            for (int x = 0; x < 512; ++x) {
                pixels.set(x, y, red << 16 | static_cast<uint32_t>(y / 2 << 8 | x / 2));
            }
        }
        const Planes planes = converted(pixels);
        int wrong = 0;
        for (int green = 0; green < 256; ++green) {
            for (int blue = 0; blue < 256; ++blue) {
                const std::array<double, 3> exact = exactly(red, green, blue);
                wrong += std::abs(exact[0] - planes.at(0, 2 * blue, 2 * green)) > kRounding ||
                         std::abs(exact[1] - planes.at(1, blue, green)) > kRounding ||
                         std::abs(exact[2] - planes.at(2, blue, green)) > kRounding;
            }
        }
        ASSERT_EQ(wrong, 0) << "red " << red;
        ASSERT_TRUE(planes == convertedPortably(pixels)) << "red " << red;
    }
}

TEST(BgrxToI420, RoundsTheMeanOfFourPixelsOnce) {
    Pixels pixels({640, 480});
    pixels.noise(3);
    EXPECT_EQ(wrongSamples(converted(pixels), pixels), 0);
    EXPECT_EQ(wrongSamples(convertedPortably(pixels), pixels), 0);
}

TEST(BgrxToI420, KeepsGreyFreeOfColour) {
    Pixels pixels({512, 2});
    for (int x = 0; x < 512; ++x) {
        for (const int y : {0, 1}) pixels.set(x, y, static_cast<uint32_t>(x / 2) * 0x010101);
    }
    const Planes planes = converted(pixels);
    for (int grey = 0; grey < 256; ++grey) {
        EXPECT_EQ(planes.at(0, 2 * grey, 0), 16 + std::lround(219 * grey / 255.0)) << grey;
        EXPECT_EQ(planes.at(1, grey, 0), 128) << grey;
        EXPECT_EQ(planes.at(2, grey, 0), 128) << grey;
    }
}

TEST(BgrxToI420, KnowsThePrimaries) {
    struct Known {
        uint32_t rgb;
        std::array<int, 3> yuv;
    };
    for (const auto& [rgb, yuv] :
         {Known{0x000000, {16, 128, 128}}, Known{0xFFFFFF, {235, 128, 128}}, Known{0xFF0000, {81, 90, 240}},
          Known{0x00FF00, {145, 54, 34}}, Known{0x0000FF, {41, 240, 110}}, Known{0xFFFF00, {210, 16, 146}},
          Known{0x00FFFF, {170, 166, 16}}, Known{0xFF00FF, {106, 202, 222}}}) {
        // In vectors, and beside them.
        Pixels pixels({18, 2});
        for (int x = 0; x < 18; ++x) {
            for (const int y : {0, 1}) pixels.set(x, y, 0xEE000000 | rgb);
        }
        const Planes planes = converted(pixels);
        for (const int x : {0, 17}) {
            EXPECT_EQ((std::array{planes.at(0, x, 1), planes.at(1, x / 2, 0), planes.at(2, x / 2, 0)}), yuv)
                << std::hex << rgb;
        }
    }
}

TEST(BgrxToI420, DoesNotHeedTheFourthByte) {
    Pixels pixels({64, 4});
    pixels.noise(4);
    Pixels opaque = pixels;
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 64; ++x) opaque.set(x, y, pixels.at(x, y) | 0xFF000000);
    }
    EXPECT_TRUE(converted(pixels) == converted(opaque));
}

TEST(BgrxToI420, SamplesDependOnTheirBlockOnly) {
    Pixels pixels({98, 6}, 7);
    pixels.noise(5);
    const Planes whole = converted(pixels);
    for (int left = 0; left < 98; left += 2) {
        for (int width = 2; left + width <= 98; width += 2) {
            Planes part({98, 6});
            auto planes = part.planes();
            planes[0].data += 2 * planes[0].stride + left;
            planes[1].data += planes[1].stride + left / 2;
            planes[2].data += planes[2].stride + left / 2;
            const ConstPlane source = pixels.plane();
            convertBgrxToI420({source.data + 2 * source.stride + 4 * left, source.stride}, {width, 2},
                              planes);
            const auto expected = [&](size_t plane, int x, int y) {
                const int shift = plane == 0 ? 0 : 1;
                const bool inside =
                    x >= left >> shift && x < (left + width) >> shift && y >= 2 >> shift && y < 4 >> shift;
                return inside ? whole.at(plane, x, y) : Planes::kUntouched;
            };
            for (size_t plane = 0; plane < 3; ++plane) {
                const int shift = plane == 0 ? 0 : 1;
                for (int y = 0; y < 6 >> shift; ++y) {
                    for (int x = 0; x < 98 >> shift; ++x) {
                        ASSERT_EQ(part.at(plane, x, y), expected(plane, x, y))
                            << width << " columns from " << left << ": plane " << plane << " at " << x << ","
                            << y;
                    }
                }
            }
        }
    }
}

TEST(BgrxToI420, VectorsAndPortableCodeAgreeInAnyShape) {
    for (int width = 1; width <= 70; ++width) {
        for (const int height : {1, 2, 3, 8}) {
            for (const int slack : {0, 1, 13}) {
                Pixels pixels({width, height}, slack);
                pixels.noise(static_cast<unsigned>(width));
                ASSERT_TRUE(converted(pixels, slack) == convertedPortably(pixels, slack))
                    << width << " x " << height << ", " << slack << " bytes between rows";
            }
        }
    }
}

TEST(BgrxToI420, OddEdgesAverageThePixelsThatExist) {
    for (const int width : {1, 17, 33}) {
        Pixels odd({width, 3});
        odd.noise(6);
        // The same picture with its last column and row twice.
        Pixels even({width + 1, 4});
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x <= width; ++x) {
                even.set(x, y, odd.at(std::min(x, width - 1), std::min(y, 2)));
            }
        }
        const Planes planes = converted(odd);
        const Planes expected = converted(even);
        EXPECT_EQ(wrongSamples(expected, even), 0);
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < width; ++x) EXPECT_EQ(planes.at(0, x, y), expected.at(0, x, y));
        }
        for (const size_t plane : {1u, 2u}) {
            for (int y = 0; y < 2; ++y) {
                for (int x = 0; x < (width + 1) / 2; ++x) {
                    EXPECT_EQ(planes.at(plane, x, y), expected.at(plane, x, y));
                }
            }
        }
    }
}

}  // namespace
}  // namespace quillon::testing
