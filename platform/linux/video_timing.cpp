#include "platform/linux/video_timing.hpp"

#include <cmath>
#include <limits>

namespace quillon {

namespace {

// Pixels before, in and after the horizontal sync.
constexpr int kFrontPorch = 48;
constexpr int kSync = 32;
constexpr int kBackPorch = 80;

// Lines before and in the vertical sync, and at least after it.
constexpr int kFrontLines = 3;
constexpr int kSyncLines = 6;
constexpr int kBackLines = 6;

/// A display wants this long between two pictures, in seconds.
constexpr double kPause = 460e-6;

constexpr int kLongestAxis = 32767;  // as far as X coordinates reach

VideoTiming::Axis axis(int visible, int front, int sync, int back) {
    return {static_cast<uint16_t>(visible), static_cast<uint16_t>(visible + front),
            static_cast<uint16_t>(visible + front + sync),
            static_cast<uint16_t>(visible + front + sync + back)};
}

}  // namespace

std::optional<VideoTiming> videoTiming(Size size, double refreshRate) {
    if (size.isEmpty() || size.width > kLongestAxis || size.height > kLongestAxis) return std::nullopt;
    if (!std::isfinite(refreshRate) || refreshRate < 1 || refreshRate * kPause >= 1) return std::nullopt;
    const double lineTime = (1 / refreshRate - kPause) / size.height;
    const double pauseLines = std::ceil(kPause / lineTime);
    if (pauseLines > kLongestAxis) return std::nullopt;
    const int backLines = std::max(kBackLines, static_cast<int>(pauseLines) - kFrontLines - kSyncLines);

    VideoTiming timing;
    timing.across = axis(size.width, kFrontPorch, kSync, kBackPorch);
    timing.down = axis(size.height, kFrontLines, kSyncLines, backLines);
    const double clock = static_cast<double>(timing.across.total) * timing.down.total * refreshRate;
    if (clock > std::numeric_limits<uint32_t>::max()) return std::nullopt;
    timing.pixelClock = static_cast<uint32_t>(std::lround(clock));
    return timing;
}

}  // namespace quillon
