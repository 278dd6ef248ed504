#pragma once

#include <memory>

#include "platform/run_loop.hpp"
#include "platform/video_encoder.hpp"

namespace quillon {

/// An H.264 encoder in software, on a thread of its own named ".encoder". Takes pictures of the formats
/// bgra and i420 in exactly the configured size; another one gives a failed sample. `clock` tells the
/// time that passes between a picture and its refinement, and outlives the encoder. Throws
/// EncoderFailure.
std::unique_ptr<VideoEncoder> makeX264Encoder(const EncoderSettings& settings, EncoderCallbacks callbacks,
                                              RunLoop& clock);

}  // namespace quillon
