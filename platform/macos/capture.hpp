#pragma once

#include "platform/capture.hpp"

namespace quillon {

/// ScreenCaptureKit. It answers by completion handlers that may never come when the system's capture service
/// hangs, so each is awaited for a few seconds at most, and silence is a CaptureFailure.
class MacCapture : public Capture {
  public:
    std::vector<Display> shareableDisplays() override;
    std::unique_ptr<CaptureStream> start(const CaptureRequest& request, CaptureCallbacks callbacks) override;
};

}  // namespace quillon
