#include "platform/macos/frame_desk.hpp"

#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <optional>
#include <utility>

#include "platform/macos/pixel_buffer.hpp"
#include "platform/macos/threads.hpp"

namespace quillon {

namespace {

/// How soon to ask again whether a picture may be taken: well below a frame, and cheap.
constexpr Duration kAskAgain = 4ms;

/// What ScreenCaptureKit says of a sample; nothing when it says nothing.
std::optional<SCFrameStatus> statusOf(CMSampleBufferRef sample) {
    const CFArrayRef attachments = CMSampleBufferGetSampleAttachmentsArray(sample, false);
    if (attachments == nullptr || CFArrayGetCount(attachments) < 1) return std::nullopt;
    NSDictionary<SCStreamFrameInfo, id>* const first =
        (__bridge NSDictionary*)static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(attachments, 0));
    NSNumber* const status = first[SCStreamFrameInfoStatus];
    if (status == nil) return std::nullopt;
    return static_cast<SCFrameStatus>(status.integerValue);
}

}  // namespace

FrameDesk::FrameDesk(dispatch_queue_t queue, CaptureCallbacks callbacks)
    : queue_(queue), callbacks_(std::move(callbacks)) {}

void FrameDesk::take(CMSampleBufferRef sample) {
    if (ended_ || CMSampleBufferIsValid(sample) == 0) return;
    const auto status = statusOf(sample);
    if (status == SCFrameStatusStopped) {
        const auto onEnd = callbacks_.onEnd;
        end();
        onEnd("the system has stopped the capture");
        return;
    }
    if (status != SCFrameStatusComplete) return;
    const CVImageBufferRef image = CMSampleBufferGetImageBuffer(sample);
    if (image == nullptr) return;
    newest_ = pictureOf(image);
    wanted_ = true;
    offer();
}

void FrameDesk::request() {
    if (!newest_) return;
    wanted_ = true;
    offer();
}

void FrameDesk::end() {
    ended_ = true;
    wanted_ = false;
    newest_.reset();
}

void FrameDesk::offer() {
    if (!wanted_) return;
    if (!callbacks_.ready()) {
        askAgain();
        return;
    }
    wanted_ = false;
    callbacks_.onPicture(newest_);
}

void FrameDesk::askAgain() {
    if (std::exchange(asks_, true)) return;
    const std::weak_ptr<FrameDesk> weak = weak_from_this();
    dispatch_after(afterNow(kAskAgain), queue_, ^{
      const auto desk = weak.lock();
      if (!desk) return;
      desk->asks_ = false;
      desk->offer();
    });
}

}  // namespace quillon
