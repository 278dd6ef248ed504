#include "device/counter_barcode.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace quillon::barcode {
namespace {

/// A luma plane with the row of `counter` in its corner, the screen enlarged `scale` times.
struct Plane {
    Plane(uint32_t counter, double scale, uint8_t black = 16, uint8_t white = 235)
        : width(static_cast<int>(std::ceil(800 * scale))), height(static_cast<int>(std::ceil(64 * scale))) {
        pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height), 128);
        const Cells cells = cellsOf(counter);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const auto cell = static_cast<size_t>(x / scale / kCellSide);
                if (y / scale >= kCellSide || cell >= kCells) continue;
                pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] =
                    cells[cell] ? white : black;
            }
        }
    }
    Luma luma() const { return {pixels.data(), width, width, height}; }

    int width;
    int height;
    std::vector<uint8_t> pixels;
};

TEST(CounterBarcode, StoresTheGuardTheCounterAndTheChecksum) {
    const Cells cells = cellsOf(0x80000001);
    EXPECT_TRUE(cells[0]);
    EXPECT_FALSE(cells[1]);
    EXPECT_TRUE(cells[2]);
    EXPECT_FALSE(cells[3]);
    EXPECT_TRUE(cells[33]);
    EXPECT_TRUE(cells[34]);  // 0x80 ^ 0x01 = 0x81
    EXPECT_FALSE(cells[35]);
    EXPECT_TRUE(cells[41]);
}

TEST(CounterBarcode, ReadsWhatItStoredAtEveryScale) {
    for (const uint32_t counter : {0U, 1U, 77U, 0xDEADBEEFU, std::numeric_limits<uint32_t>::max()}) {
        for (const double scale : {0.25, 0.5, 0.75, 1.0, 1.0667, 2.0}) {
            const Plane plane(counter, scale);
            EXPECT_EQ(read(plane.luma(), scale), counter) << counter << " at " << scale;
        }
    }
}

TEST(CounterBarcode, ToleratesPaleBlackAndGreyWhite) {
    EXPECT_EQ(read(Plane(12345, 1, 60, 190).luma(), 1), 12345U);
}

TEST(CounterBarcode, RefusesCellsThatAreNeitherBlackNorWhite) {
    EXPECT_EQ(read(Plane(12345, 1, 120, 140).luma(), 1), std::nullopt);
}

TEST(CounterBarcode, RefusesAWrongBitAnywhere) {
    for (size_t i = 0; i < kCells; ++i) {
        Cells cells = cellsOf(0x12345678);
        cells[i] = !cells[i];
        EXPECT_EQ(counterOf(cells), std::nullopt) << i;
    }
}

TEST(CounterBarcode, RefusesAPictureThatIsTooSmall) {
    const Plane plane(1, 1);
    EXPECT_EQ(read({plane.pixels.data(), plane.width, 671, 64}, 1), std::nullopt);
    EXPECT_EQ(read({plane.pixels.data(), plane.width, 800, 15}, 1), std::nullopt);
    EXPECT_EQ(read(plane.luma(), 0.1), std::nullopt);
    EXPECT_EQ(read({}, 1), std::nullopt);
}

}  // namespace
}  // namespace quillon::barcode
