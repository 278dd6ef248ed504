#pragma once

#include "platform/capture.hpp"

namespace quillon {

/// Captures RandR outputs of the X server that DISPLAY names. Every call and every stream has a
/// connection of its own.
class X11Capture : public Capture {
  public:
    std::vector<Display> shareableDisplays() override;
    std::unique_ptr<CaptureStream> start(const CaptureRequest& request, CaptureCallbacks callbacks) override;
};

}  // namespace quillon
