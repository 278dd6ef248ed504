#include "platform/linux/x264_content_probe.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace quillon {

namespace {

constexpr int kSide = ChangeMap::kMacroblock;
constexpr int kLines = 2;  // sampled in each macroblock
constexpr double kSampled = kLines * kSide;

/// Even a flat or an equal macroblock has a price; in grey levels for each sampled pixel.
constexpr double kFloor = 0.25;

/// With less between its pixels a macroblock is flat; grey levels for each sampled pixel.
constexpr int kFlat = 1;
/// The steps between pixels of text are most of the way from ink to paper, those of nature a few grey levels.
constexpr int kEdge = 32;

}  // namespace

ContentProbe::ContentProbe(int width, int height) : width_(width), height_(height) {
    const ChangeMap grid(width, height);
    lineSize_ = static_cast<size_t>(grid.columns()) * kSide;
    samples_.resize(lineSize_ * kLines * grid.rows());
    details_.resize(static_cast<size_t>(grid.macroblocks()));
}

PictureContent ContentProbe::look(const Picture::Plane& luma, const ChangeMap& changes) {
    int64_t change = 0;
    int detailed = 0;
    int sharp = 0;
    for (int row = 0; row < changes.rows(); ++row) {
        for (int column = 0; column < changes.columns(); ++column) {
            if (!changes.isChanged(column, row)) continue;
            const Sums sums = compare(luma, column, row);
            change += sums.change;
            uint16_t& detail = details_[static_cast<size_t>(row) * changes.columns() + column];
            detail_ += sums.detail - detail;
            detail = static_cast<uint16_t>(sums.detail);
            if (sums.detail >= kFlat * kSampled) {
                ++detailed;
                if (sums.edges >= kEdge * sums.detail) ++sharp;
            }
        }
    }
    PictureContent content = still();
    content.changedMacroblocks = changes.changed();
    content.change = static_cast<double>(change) / kSampled + kFloor * changes.changed();
    if (detailed > 0) content.sharpness = static_cast<double>(sharp) / detailed;
    return content;
}

PictureContent ContentProbe::still() const {
    return {.detail =
                static_cast<double>(detail_) / kSampled + kFloor * static_cast<double>(details_.size())};
}

inline void ContentProbe::add(const uint8_t* now, const uint8_t* before, int count, int steps, Sums& sums) {
    int change = 0;
    int detail = 0;
    int edges = 0;
    for (int i = 0; i < count; ++i) change += std::abs(now[i] - before[i]);
    for (int i = 0; i < steps; ++i) detail += std::abs(now[i + 1] - now[i]);
    for (int i = 0; i < steps; ++i) {
        const auto step = static_cast<int16_t>(now[i + 1] - now[i]);
        edges += step * step;
    }
    sums.change += change;
    sums.detail += detail;
    sums.edges += edges;
}

ContentProbe::Sums ContentProbe::compare(const Picture::Plane& luma, int column, int row) {
    const int x = column * kSide;
    const int count = std::min(kSide, width_ - x);
    const bool isInner = x + kSide < width_;  // each pixel has a neighbour on its right
    Sums sums;
    for (int line = 0; line < kLines; ++line) {
        const int y = std::min(row * kSide + (2 * line + 1) * kSide / (2 * kLines), height_ - 1);
        const uint8_t* now = luma.data + static_cast<ptrdiff_t>(y) * luma.stride + x;
        uint8_t* before = samples_.data() + (static_cast<size_t>(row) * kLines + line) * lineSize_ + x;
        // Of a known length the compiler makes a few wide instructions.
        isInner ? add(now, before, kSide, kSide, sums) : add(now, before, count, count - 1, sums);
        std::memcpy(before, now, static_cast<size_t>(count));
    }
    return sums;
}

}  // namespace quillon
