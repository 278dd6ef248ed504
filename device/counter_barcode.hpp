#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

// A 32-bit counter as a row of black and white squares that survives scaling and video compression,
// so that a picture tells when it was drawn. A scene draws the row in the top-left corner of the
// screen; the reader finds it again in the luma plane of a decoded picture.
//
//     cell:   0       1       2 ... 33                        34 ... 41
//           +-------+-------+-------------------------------+-------------------------------+
//           | white | black | counter, high bit first       | xor of its four bytes         |
//           +-------+-------+-------------------------------+-------------------------------+
//
// A white cell is a one.

namespace quillon::barcode {

inline constexpr size_t kCells = 42;
/// Side of a cell in screen pixels.
inline constexpr int kCellSide = 16;

using Cells = std::array<bool, kCells>;

Cells cellsOf(uint32_t counter);

/// The counter, when both guard cells and the checksum are right.
std::optional<uint32_t> counterOf(const Cells& cells);

/// The luma plane of a picture; `data` belongs to the caller.
struct Luma {
    const uint8_t* data = nullptr;
    int stride = 0;  ///< bytes
    int width = 0;
    int height = 0;
};

/// Reads the row from the top-left corner of a picture that shows the screen `scale` times as large.
/// Empty when there is no whole row, or a cell is neither clearly black nor clearly white.
std::optional<uint32_t> read(const Luma& luma, double scale);

}  // namespace quillon::barcode
