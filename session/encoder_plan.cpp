#include "session/encoder_plan.hpp"

#include <algorithm>
#include <limits>

namespace quillon {

namespace {
constexpr int64_t kMostFps = 240;
constexpr int kUSBKeyframeSeconds = 2;
constexpr int64_t kMostKeyframeSeconds = 3600;
}  // namespace

int encodedSide(int64_t configured, double fraction) {
    constexpr double kLargest = std::numeric_limits<int>::max();
    const double side = std::clamp(static_cast<double>(configured) * fraction, 0.0, kLargest);
    const int even = static_cast<int>(side) & ~1;
    return even < 3 ? 2 : even;
}

int workingFps(int64_t configured) {
    return static_cast<int>(std::clamp<int64_t>(configured, 1, kMostFps));
}

EncoderSettings encoderPlan(const SessionConfig& config, std::string_view activeTransport) {
    const double fraction = rasterFraction(config.quality);
    EncoderSettings settings;
    settings.width = encodedSide(config.width, fraction);
    settings.height = encodedSide(config.height, fraction);
    settings.fps = workingFps(config.fps);
    settings.bitrate = bitrateOf(config.quality);
    settings.keyframeSeconds = kUSBKeyframeSeconds;
    if (isWiFi(activeTransport)) {
        settings.bitrate = static_cast<int>(std::clamp<int64_t>(config.wifiBitrate, 1, settings.bitrate));
        settings.keyframeSeconds =
            static_cast<int>(std::clamp<int64_t>(config.keyframeSeconds, 1, kMostKeyframeSeconds));
    }
    return settings;
}

}  // namespace quillon
