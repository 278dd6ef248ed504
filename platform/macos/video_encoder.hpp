#pragma once

#include "platform/video_encoder.hpp"

namespace quillon {

/// VideoToolbox's H.264 encoder. Throws EncoderFailure.
std::unique_ptr<VideoEncoder> makeVideoToolboxEncoder(const EncoderSettings& settings,
                                                      EncoderCallbacks callbacks);

}  // namespace quillon
