#include "input/input_injector.hpp"

#include <algorithm>
#include <cmath>

#include "transport/wire_protocol.hpp"

namespace quillon {

namespace {

/// Beyond this many display sizes a number from the wire is no touch.
constexpr double kFarthestFraction = 100;

bool isPlace(double fraction) {
    return std::isfinite(fraction) && std::abs(fraction) <= kFarthestFraction;
}

/// The closest place on the display; its middle for what is no number.
double onDisplay(double fraction) {
    return std::isnan(fraction) ? 0.5 : std::clamp(fraction, 0.0, 1.0);
}

bool fitsIn32Bits(double pixels) {
    return std::isfinite(pixels) && wholePixels(pixels) == std::trunc(pixels);
}

Pointer::Event eventFor(uint8_t action) {
    switch (action) {
        case wire::Input::press:
            return Pointer::Event::press;
        case wire::Input::drag:
            return Pointer::Event::drag;
        case wire::Input::release:
            return Pointer::Event::release;
        default:
            return Pointer::Event::move;
    }
}

}  // namespace

void InputInjector::handle(ByteView payload) const {
    const auto input = wire::parseInput(payload);
    if (!input) return;
    if (input->action == wire::Input::scroll) {
        scroll(input->dx, input->dy);
        return;
    }
    double x = input->x;
    double y = input->y;
    if (!isPlace(x) || !isPlace(y)) {
        if (input->action != wire::Input::release) return;
        x = onDisplay(x);
        y = onDisplay(y);
    }
    pointer_.post(eventFor(input->action), {bounds_.x + bounds_.width * x, bounds_.y + bounds_.height * y});
}

void InputInjector::scroll(double dx, double dy) const {
    if (!fitsIn32Bits(-dx) || !fitsIn32Bits(-dy)) return;
    pointer_.postScroll(-dy, -dx);
}

}  // namespace quillon
