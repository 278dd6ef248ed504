#include "platform/linux/x11_layout.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace quillon {

namespace {

/// The side of the main display on which a display lies.
enum class Side { right, left, below, above };

Side sideOf(const PixelRect& place, const PixelRect& main) {
    if (place.x >= main.right()) return Side::right;
    if (place.right() <= main.x) return Side::left;
    if (place.y >= main.bottom()) return Side::below;
    if (place.bottom() <= main.y) return Side::above;
    return Side::right;
}

PixelRect pushedOff(PixelRect place, const PixelRect& obstacle, Side side) {
    switch (side) {
        case Side::right:
            place.x = obstacle.right();
            break;
        case Side::left:
            place.x = obstacle.x - place.width;
            break;
        case Side::below:
            place.y = obstacle.bottom();
            break;
        case Side::above:
            place.y = obstacle.y - place.height;
            break;
    }
    return place;
}

int scaledLength(int length, int pixels, int millimetres) {
    if (pixels <= 0) return millimetres;
    return static_cast<int>(std::lround(static_cast<double>(length) * millimetres / pixels));
}

}  // namespace

const X11Crtc* X11Layout::crtcOf(uint32_t output) const {
    const auto found = std::ranges::find_if(crtcs, [output](const X11Crtc& crtc) {
        return crtc.isActive() && std::ranges::count(crtc.outputs, output) > 0;
    });
    return found == crtcs.end() ? nullptr : &*found;
}

X11Crtc* X11Layout::crtcOf(uint32_t output) {
    return const_cast<X11Crtc*>(std::as_const(*this).crtcOf(output));
}

Size X11Layout::extent() const {
    Size farthest;
    for (const X11Crtc& crtc : crtcs) {
        if (!crtc.isActive()) continue;
        farthest.width = std::max(farthest.width, crtc.place.right());
        farthest.height = std::max(farthest.height, crtc.place.bottom());
    }
    return farthest;
}

void X11Layout::turnOff(uint32_t output) {
    X11Crtc* const crtc = crtcOf(output);
    if (crtc == nullptr) return;
    std::erase(crtc->outputs, output);
    if (crtc->outputs.empty()) *crtc = {crtc->id};
}

const X11Crtc* X11Layout::freeCrtc(std::span<const uint32_t> usable) const {
    const auto found = std::ranges::find_if(crtcs, [usable](const X11Crtc& crtc) {
        return !crtc.isActive() && std::ranges::count(usable, crtc.id) > 0;
    });
    return found == crtcs.end() ? nullptr : &*found;
}

X11Crtc* X11Layout::freeCrtc(std::span<const uint32_t> usable) {
    return const_cast<X11Crtc*>(std::as_const(*this).freeCrtc(usable));
}

bool X11Layout::separate(uint32_t output, std::span<const uint32_t> usable) {
    X11Crtc* const shared = crtcOf(output);
    if (shared == nullptr) return false;
    if (shared->outputs.size() == 1) return true;
    X11Crtc* const own = freeCrtc(usable);
    if (own == nullptr) return false;
    *own = {own->id, shared->place, shared->mode, shared->rotation, {output}};
    std::erase(shared->outputs, output);
    return true;
}

void X11Layout::settle() {
    int left = std::numeric_limits<int>::max();
    int top = left;
    for (const X11Crtc& crtc : crtcs) {
        if (!crtc.isActive()) continue;
        left = std::min(left, crtc.place.x);
        top = std::min(top, crtc.place.y);
    }
    for (X11Crtc& crtc : crtcs) {
        if (!crtc.isActive()) continue;
        crtc.place.x -= left;
        crtc.place.y -= top;
    }
    const Size fitting = extent();
    if (fitting.isEmpty() || fitting == size) return;
    millimetres = {scaledLength(fitting.width, size.width, millimetres.width),
                   scaledLength(fitting.height, size.height, millimetres.height)};
    size = fitting;
}

PixelRect resized(const PixelRect& place, Size size, const PixelRect& main) {
    PixelRect result{place.x, place.y, size.width, size.height};
    const Side side = sideOf(place, main);
    if (side == Side::left) result.x = place.right() - size.width;
    if (side == Side::above) result.y = place.bottom() - size.height;
    return result;
}

PixelRect clearOfOthers(PixelRect wanted, const PixelRect& main, std::span<const PixelRect> others) {
    const Side side = sideOf(wanted, main);
    const auto push = [&](const PixelRect& obstacle) {
        if (intersection(wanted, obstacle).isEmpty()) return false;
        wanted = pushedOff(wanted, obstacle, side);
        return true;
    };
    push(main);
    // Each push leaves one more behind for good.
    while (std::ranges::any_of(others, push)) {
    }
    return wanted;
}

}  // namespace quillon
