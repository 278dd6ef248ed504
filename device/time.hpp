#pragma once

#include <chrono>
#include <cstdint>

namespace quillon::device {

/// The machine's monotonic clock (CLOCK_MONOTONIC), so that its nanoseconds compare with those of any
/// other program of the same machine.
using Clock = std::chrono::steady_clock;
using Moment = Clock::time_point;

inline int64_t nanosecondsOf(Moment moment) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(moment.time_since_epoch()).count();
}

inline double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

inline Clock::duration secondsToDuration(double seconds) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace quillon::device
