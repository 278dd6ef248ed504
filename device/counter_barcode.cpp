#include "device/counter_barcode.hpp"

#include <algorithm>
#include <cmath>

namespace quillon::barcode {
namespace {

constexpr size_t kFirstBit = 2;
constexpr size_t kFirstCheckBit = kFirstBit + 32;

// Luma of limited range runs from 16 to 235. Between the two marks a cell is no cell.
constexpr int kDarkest = 96;
constexpr int kBrightest = 156;

uint32_t checksumOf(uint32_t counter) {
    return (counter >> 24 ^ counter >> 16 ^ counter >> 8 ^ counter) & 0xFF;
}

void storeBits(Cells& cells, size_t first, size_t count, uint32_t value) {
    for (size_t i = 0; i < count; ++i) cells[first + i] = (value >> (count - 1 - i) & 1) != 0;
}

uint32_t loadBits(const Cells& cells, size_t first, size_t count) {
    uint32_t value = 0;
    for (size_t i = 0; i < count; ++i) value = value << 1 | (cells[first + i] ? 1U : 0U);
    return value;
}

/// Mean of the middle half of a cell, out of reach of the blur at its edges.
int brightnessOf(const Luma& luma, size_t cell, double side) {
    const double left = static_cast<double>(cell) * side;
    const int x0 = static_cast<int>(std::floor(left + side * 0.25));
    const int x1 = std::max(x0 + 1, static_cast<int>(std::floor(left + side * 0.75)));
    const int y0 = static_cast<int>(std::floor(side * 0.25));
    const int y1 = std::max(y0 + 1, static_cast<int>(std::floor(side * 0.75)));
    int sum = 0;
    for (int y = y0; y < y1; ++y) {
        const uint8_t* row = luma.data + static_cast<ptrdiff_t>(y) * luma.stride;
        for (int x = x0; x < x1; ++x) sum += row[x];
    }
    return sum / ((x1 - x0) * (y1 - y0));
}

}  // namespace

Cells cellsOf(uint32_t counter) {
    Cells cells{};
    cells[0] = true;
    cells[1] = false;
    storeBits(cells, kFirstBit, 32, counter);
    storeBits(cells, kFirstCheckBit, 8, checksumOf(counter));
    return cells;
}

std::optional<uint32_t> counterOf(const Cells& cells) {
    const uint32_t counter = loadBits(cells, kFirstBit, 32);
    if (!cells[0] || cells[1] || loadBits(cells, kFirstCheckBit, 8) != checksumOf(counter)) {
        return std::nullopt;
    }
    return counter;
}

std::optional<uint32_t> read(const Luma& luma, double scale) {
    const double side = kCellSide * scale;
    if (side < 2 || luma.height < side || luma.width < side * static_cast<double>(kCells)) {
        return std::nullopt;
    }
    Cells cells{};
    for (size_t i = 0; i < kCells; ++i) {
        const int brightness = brightnessOf(luma, i, side);
        if (brightness > kDarkest && brightness < kBrightest) return std::nullopt;
        cells[i] = brightness >= kBrightest;
    }
    return counterOf(cells);
}

}  // namespace quillon::barcode
