#pragma once

#import <CoreMedia/CoreMedia.h>
#import <dispatch/dispatch.h>

#include <memory>

#include "platform/capture.hpp"

namespace quillon {

/// Between ScreenCaptureKit, which sends frames when it likes, and the receiver, who takes one when it can:
/// keeps the newest picture until it may be handed over, and for a receiver that asks for it again. A screen
/// at rest sends nothing, so that picture may have to serve for hours.
///
/// Everything on the capture's queue.
class FrameDesk : public std::enable_shared_from_this<FrameDesk> {
  public:
    FrameDesk(dispatch_queue_t queue, CaptureCallbacks callbacks);

    /// A sample of the stream. Only complete frames carry a new picture; that the stream has stopped is told
    /// to the receiver; idle, blank, suspended and started are not news.
    void take(CMSampleBufferRef sample);
    /// Hands over the newest picture once more, as soon as the receiver is ready.
    void request();
    /// No callback comes any more.
    void end();

  private:
    void offer();
    void askAgain();

    const dispatch_queue_t queue_;
    CaptureCallbacks callbacks_;
    PicturePtr newest_;
    bool wanted_ = false;
    bool asks_ = false;  ///< a repeated question is on its way
    bool ended_ = false;
};

}  // namespace quillon
