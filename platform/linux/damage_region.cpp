#include "platform/linux/damage_region.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace quillon {

namespace {

int64_t area(const PixelRect& rect) {
    return static_cast<int64_t>(rect.width) * rect.height;
}

/// Pixels that the union of both covers beyond what they cover themselves; not above 0 when one
/// rectangle does as well as two.
int64_t waste(const PixelRect& a, const PixelRect& b) {
    return area(bounding(a, b)) - area(a) - area(b);
}

}  // namespace

PixelRect bounding(const PixelRect& a, const PixelRect& b) {
    const int x = std::min(a.x, b.x);
    const int y = std::min(a.y, b.y);
    return {x, y, std::max(a.right(), b.right()) - x, std::max(a.bottom(), b.bottom()) - y};
}

PixelRect evenAligned(const PixelRect& rect) {
    const int x = rect.x & ~1;
    const int y = rect.y & ~1;
    return {x, y, ((rect.right() + 1) & ~1) - x, ((rect.bottom() + 1) & ~1) - y};
}

bool contains(const PixelRect& outer, const PixelRect& inner) {
    return inner.x >= outer.x && inner.y >= outer.y && inner.right() <= outer.right() &&
           inner.bottom() <= outer.bottom();
}

void DamageRegion::add(const PixelRect& rect) {
    if (rect.isEmpty()) return;
    PixelRect added = rect;
    for (;;) {
        size_t partner = kLimit;
        int64_t least = std::numeric_limits<int64_t>::max();
        for (size_t i = 0; i < count_; ++i) {
            const int64_t wasted = waste(rects_[i], added);
            if (wasted >= least) continue;
            least = wasted;
            partner = i;
        }
        if (count_ < kLimit && least > 0) break;
        // The union may in turn reach or cover others, so it is added in place of both.
        added = bounding(rects_[partner], added);
        removeAt(partner);
    }
    rects_[count_++] = added;
}

void DamageRegion::add(const DamageRegion& other) {
    for (const PixelRect& rect : other.rects()) add(rect);
}

bool DamageRegion::covers(const PixelRect& rect) const {
    return std::ranges::any_of(rects(), [&](const PixelRect& each) { return contains(each, rect); });
}

}  // namespace quillon
