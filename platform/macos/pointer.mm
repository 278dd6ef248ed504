#include "platform/macos/pointer.hpp"

#include <CoreGraphics/CoreGraphics.h>

#include "platform/macos/owned.hpp"

namespace quillon {

namespace {

CGEventType typeOf(Pointer::Event event) {
    switch (event) {
        case Pointer::Event::press:
            return kCGEventLeftMouseDown;
        case Pointer::Event::drag:
            return kCGEventLeftMouseDragged;
        case Pointer::Event::release:
            return kCGEventLeftMouseUp;
        case Pointer::Event::move:
            break;
    }
    return kCGEventMouseMoved;
}

}  // namespace

std::optional<Point> MacPointer::location() {
    // An event made of nothing says where the pointer is now.
    const Owned<CGEventRef> event(CGEventCreate(nullptr));
    if (!event) return std::nullopt;
    const CGPoint place = CGEventGetLocation(event.get());
    return Point{place.x, place.y};
}

void MacPointer::post(Event event, Point place) {
    const Owned<CGEventRef> made(
        CGEventCreateMouseEvent(nullptr, typeOf(event), CGPointMake(place.x, place.y), kCGMouseButtonLeft));
    if (!made) return;
    if (event != Event::move) CGEventSetIntegerValueField(made.get(), kCGMouseEventClickState, 1);
    CGEventPost(kCGHIDEventTap, made.get());
}

void MacPointer::postScroll(double vertical, double horizontal) {
    const Owned<CGEventRef> made(CGEventCreateScrollWheelEvent2(
        nullptr, kCGScrollEventUnitPixel, 2, wholePixels(vertical), wholePixels(horizontal), 0));
    if (made) CGEventPost(kCGHIDEventTap, made.get());
}

}  // namespace quillon
