// The payload of a touch, any bytes, up to the event that it posts.

#include <algorithm>
#include <cmath>

#include "fuzz/input_sockets.hpp"
#include "input/input_injector.hpp"
#include "transport/wire_protocol.hpp"

using namespace quillon;

namespace {

/// Counts events, and requires places that a display server can be given.
class CheckedPointer : public Pointer {
  public:
    int events = 0;

    std::optional<Point> location() override { return std::nullopt; }
    std::unique_ptr<Observation> observeMotion(std::function<void()>) override { return nullptr; }
    void post(Event, Point place) override {
        fuzz::require(std::isfinite(place.x) && std::isfinite(place.y));
        ++events;
    }
    void postScroll(double vertical, double horizontal) override {
        fuzz::require(std::isfinite(vertical) && std::isfinite(horizontal));
        ++events;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const ByteView payload(data, size);
    const auto input = wire::parseInput(payload);
    fuzz::require(input.has_value() == (size >= wire::kInputSize));
    if (input) {
        const Bytes again = wire::inputPayload(*input);
        fuzz::require(again.size() == wire::kInputSize &&
                      std::equal(again.begin(), again.end(), payload.begin()));
    }
    CheckedPointer pointer;
    InputInjector(pointer, {1920, -300, 1280, 800}).handle(payload);
    fuzz::require(pointer.events <= (input ? 1 : 0));
    return 0;
}
