#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "base/geometry.hpp"

namespace quillon {

/// The smallest rectangle around both.
PixelRect bounding(const PixelRect& a, const PixelRect& b);

/// The smallest rectangle around `rect` whose edges are even: whole cells of 4:2:0 chroma.
PixelRect evenAligned(const PixelRect& rect);

bool contains(const PixelRect& outer, const PixelRect& inner);

/// Where a picture changed: a short list of rectangles that together cover every change, and possibly
/// a little more. The list has a limit, so nothing that uses it has to allocate; beyond it the pair
/// whose union wastes least becomes one.
class DamageRegion {
  public:
    static constexpr size_t kLimit = 16;

    DamageRegion() = default;
    explicit DamageRegion(const PixelRect& rect) { add(rect); }

    void add(const PixelRect& rect);
    void add(const DamageRegion& other);
    void clear() { count_ = 0; }

    bool isEmpty() const { return count_ == 0; }
    std::span<const PixelRect> rects() const& { return {rects_.data(), count_}; }
    std::span<const PixelRect> rects() const&& = delete;  // they live in the region
    /// True when one of the rectangles alone covers `rect`.
    bool covers(const PixelRect& rect) const;

  private:
    void removeAt(size_t index) { rects_[index] = rects_[--count_]; }

    std::array<PixelRect, kLimit> rects_{};
    size_t count_ = 0;
};

}  // namespace quillon
