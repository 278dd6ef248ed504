#include "bench/sheet.hpp"

#include <algorithm>

namespace quillon::bench {

Sheet HeapSheets::make(Size size) {
    const size_t count = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
    memory_.push_back(std::make_unique<uint32_t[]>(count));
    return {size, memory_.back().get(), 0};
}

void SheetSurface::put(const Sheet& sheet, const PixelRect& from, int x, int y) {
    const PixelRect to =
        intersection({x, y, from.width, from.height}, {0, 0, target_.size.width, target_.size.height});
    for (int line = 0; line < to.height; ++line) {
        const uint32_t* source = sheet.row(from.y + to.y - y + line) + from.x + to.x - x;
        std::copy_n(source, to.width, target_.row(to.y + line) + to.x);
    }
}

}  // namespace quillon::bench
