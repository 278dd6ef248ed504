#include "platform/linux/x11_cursor_overlay.hpp"

#include <algorithm>

namespace quillon {

namespace {

/// `over` has its colours multiplied by its alpha.
uint32_t blended(uint32_t over, uint32_t under) {
    const uint32_t through = 255 - (over >> 24);
    uint32_t result = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const uint32_t sum = (over >> shift & 0xFF) + (under >> shift & 0xFF) * through / 255;
        result |= std::min(sum, 255u) << shift;
    }
    return result;
}

}  // namespace

void X11CursorOverlay::draw(X11Grabber& grabber, DamageRegion& damage) {
    xcb_connection_t* c = connection_.get();
    const auto image = owned(xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr));
    if (!image) return;
    const PixelRect shape{image->x - image->xhot - grabber.place().x,
                          image->y - image->yhot - grabber.place().y, image->width, image->height};
    const PixelRect whole{0, 0, grabber.place().width, grabber.place().height};
    const PixelRect visible = intersection(shape, whole);
    drawn_ = intersection(drawn_, whole);  // the place may have become smaller
    const bool isIntact = std::ranges::none_of(
        damage.rects(), [&](const PixelRect& rect) { return !intersection(rect, drawn_).isEmpty(); });
    if (visible == drawn_ && image->cursor_serial == serial_ && isIntact) return;

    grabber.fetch(drawn_);
    damage.add(drawn_);
    const uint32_t* pixels = xcb_xfixes_get_cursor_image_cursor_image(image.get());
    for (int y = visible.y; y < visible.bottom(); ++y) {
        uint32_t* row = grabber.pixelRow(y);
        const uint32_t* source = pixels + static_cast<ptrdiff_t>(y - shape.y) * shape.width - shape.x;
        for (int x = visible.x; x < visible.right(); ++x) row[x] = blended(source[x], row[x]);
    }
    damage.add(visible);
    drawn_ = visible;
    serial_ = image->cursor_serial;
}

}  // namespace quillon
