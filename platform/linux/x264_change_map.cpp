#include "platform/linux/x264_change_map.hpp"

#include <x264.h>

#include <algorithm>

namespace quillon {

ChangeMap::ChangeMap(int width, int height)
    : picture_{0, 0, width, height},
      columns_((width + kMacroblock - 1) / kMacroblock),
      rows_((height + kMacroblock - 1) / kMacroblock),
      constancy_(static_cast<size_t>(columns_) * rows_, X264_MBINFO_CONSTANT) {}

void ChangeMap::clear() {
    std::fill(constancy_.begin(), constancy_.end(), X264_MBINFO_CONSTANT);
    changed_ = 0;
}

void ChangeMap::markAll() {
    std::fill(constancy_.begin(), constancy_.end(), 0);
    changed_ = macroblocks();
}

void ChangeMap::mark(const PixelRect& pixels) {
    const PixelRect inside = intersection(pixels, picture_);
    if (inside.isEmpty()) return;
    const int lastColumn = (inside.right() - 1) / kMacroblock;
    const int lastRow = (inside.bottom() - 1) / kMacroblock;
    for (int row = inside.y / kMacroblock; row <= lastRow; ++row) {
        for (int column = inside.x / kMacroblock; column <= lastColumn; ++column) {
            uint8_t& constancy = constancy_[index(column, row)];
            changed_ += constancy != 0 ? 1 : 0;
            constancy = 0;
        }
    }
}

void ChangeMap::merge(const ChangeMap& other) {
    changed_ = 0;
    for (size_t i = 0; i < constancy_.size(); ++i) {
        constancy_[i] &= other.constancy_[i];
        changed_ += constancy_[i] == 0 ? 1 : 0;
    }
}

}  // namespace quillon
