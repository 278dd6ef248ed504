#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace quillon {

using namespace std::chrono_literals;

/// The clock of the run loop: monotonic, and virtual in a simulated run. It has no `now` of its own;
/// `RunLoop::now` tells the time.
struct LoopClock {
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<LoopClock>;
    static constexpr bool is_steady = true;
};

using Duration = LoopClock::duration;
using Instant = LoopClock::time_point;

/// A wait of so many seconds; a fraction counts. Beyond a billion seconds, which the clock can just hold,
/// it is that.
constexpr Duration seconds(double value) {
    constexpr double kLongest = 1e9;
    return std::chrono::duration_cast<Duration>(
        std::chrono::duration<double>(std::clamp(value, -kLongest, kLongest)));
}

constexpr double toSeconds(Duration value) {
    return std::chrono::duration<double>(value).count();
}
constexpr double toMilliseconds(Duration value) {
    return std::chrono::duration<double, std::milli>(value).count();
}

/// A moment on the session clock: whole microseconds, truncated, from `origin` to `moment`; 0 before it.
constexpr uint64_t sessionMicroseconds(Instant origin, Instant moment) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(moment - origin).count();
    return elapsed > 0 ? static_cast<uint64_t>(elapsed) : 0;
}

}  // namespace quillon
