#pragma once

#include <cstdint>
#include <vector>

#include "base/geometry.hpp"

namespace quillon {

/// Which macroblocks of a picture changed since the last one that was encoded.
class ChangeMap {
  public:
    static constexpr int kMacroblock = 16;  ///< pixels

    /// Nothing has changed yet. Width and height in pixels.
    ChangeMap(int width, int height);

    int columns() const { return columns_; }
    int rows() const { return rows_; }
    int macroblocks() const { return columns_ * rows_; }
    int changed() const { return changed_; }
    bool isChanged(int column, int row) const { return constancy_[index(column, row)] == 0; }

    void clear();
    void markAll();
    /// Marks all macroblocks that `pixels` touches; what lies outside the picture is left out.
    void mark(const PixelRect& pixels);
    /// Marks what `other`, a map of the same size, has marked.
    void merge(const ChangeMap& other);

    /// One byte for each macroblock in raster order, as x264 reads it: X264_MBINFO_CONSTANT or 0.
    uint8_t* constancy() { return constancy_.data(); }

  private:
    size_t index(int column, int row) const { return static_cast<size_t>(row) * columns_ + column; }

    PixelRect picture_;
    int columns_;
    int rows_;
    int changed_ = 0;
    std::vector<uint8_t> constancy_;
};

}  // namespace quillon
