#include "input/input_injector.hpp"

#include <cmath>

#include "transport/wire_protocol.hpp"

namespace quillon {

namespace {

/// Beyond this many display sizes or pixels a number from the wire is no touch.
constexpr double kFarthestFraction = 100;
constexpr double kLongestScroll = 1'000'000;

bool isWithin(double value, double limit) {
    return std::isfinite(value) && std::abs(value) <= limit;
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
    const double x = input->x;
    const double y = input->y;
    if (!isWithin(x, kFarthestFraction) || !isWithin(y, kFarthestFraction)) return;
    pointer_.post(eventFor(input->action), {bounds_.x + bounds_.width * x, bounds_.y + bounds_.height * y});
}

void InputInjector::scroll(double dx, double dy) const {
    if (!isWithin(dx, kLongestScroll) || !isWithin(dy, kLongestScroll)) return;
    pointer_.postScroll(-dy, -dx);
}

}  // namespace quillon
