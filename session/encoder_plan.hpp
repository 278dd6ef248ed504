#pragma once

#include <string_view>

#include "platform/video_encoder.hpp"
#include "session/types.hpp"

namespace quillon {

/// Is this the description of a Wi-Fi link? Only those are treated as slow; the device's own network
/// over the cable ("USB link …") is not.
inline bool isWiFi(std::string_view activeTransport) {
    return activeTransport.starts_with("Wi-Fi");
}

/// One side of the encoded raster: the configured size times the quality's fraction, truncated, even, and at
/// least 2.
int encodedSide(int64_t configured, double fraction);

/// Frames per second that pipeline and encoder work with: the configured number, kept within what a
/// timer and an encoder can be asked for.
int workingFps(int64_t configured);

/// What the encoder is asked for, given configuration and link.
EncoderSettings encoderPlan(const SessionConfig& config, std::string_view activeTransport);

}  // namespace quillon
