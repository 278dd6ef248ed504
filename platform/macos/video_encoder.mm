#include "platform/macos/video_encoder.hpp"

#import <Foundation/Foundation.h>
#import <VideoToolbox/VideoToolbox.h>

#include <cmath>
#include <string>
#include <utility>

#include "base/thread_annotations.hpp"
#include "platform/macos/owned.hpp"
#include "platform/macos/pixel_buffer.hpp"
#include "platform/macos/threads.hpp"

namespace quillon {

namespace {

constexpr int32_t kMicroseconds = 1'000'000;  // a second's
/// Pictures inside the compression session at once: one is encoded while the next one waits at the hardware.
/// The capture gives us three buffers, and it needs one to draw into.
constexpr int kMostInside = 2;

/// One parameter set of the stream, without length; empty when there is none.
ByteView parameterSet(CMFormatDescriptionRef format, size_t index) {
    const uint8_t* bytes = nullptr;
    size_t size = 0;
    const OSStatus status =
        CMVideoFormatDescriptionGetH264ParameterSetAtIndex(format, index, &bytes, &size, nullptr, nullptr);
    return status == 0 && bytes != nullptr ? ByteView(bytes, size) : ByteView();
}

/// The sample's bytes: where they lie, or gathered into `room` when they lie in pieces. Empty without any.
ByteView bytesOf(CMBlockBufferRef block, Bytes& room) {
    size_t inOnePiece = 0;
    size_t total = 0;
    char* bytes = nullptr;
    if (CMBlockBufferGetDataPointer(block, 0, &inOnePiece, &total, &bytes) != 0) return {};
    if (bytes == nullptr || total < 1) return {};
    if (inOnePiece >= total) return {reinterpret_cast<const uint8_t*>(bytes), total};
    room.resize(total);
    return CMBlockBufferCopyDataBytes(block, 0, total, room.data()) == 0 ? ByteView(room) : ByteView();
}

int64_t presentationTime(CMSampleBufferRef sample) {
    const double microseconds =
        CMTimeGetSeconds(CMSampleBufferGetPresentationTimeStamp(sample)) * kMicroseconds;
    return std::isfinite(microseconds) ? static_cast<int64_t>(microseconds) : 0;
}

/// The queue serialises everything that touches the compression session, so that `encode` never waits for the
/// hardware and `invalidate` waits for everything. VideoToolbox delivers on a thread of its own.
class VideoToolboxEncoder : public VideoEncoder {
  public:
    VideoToolboxEncoder(const EncoderSettings& settings, EncoderCallbacks callbacks)
        : settings_(settings),
          callbacks_(std::move(callbacks)),
          queue_(makeLabelledQueue(".encoder", Priority::userInteractive)) {
        VTCompressionSessionRef session = nullptr;
        const OSStatus status = VTCompressionSessionCreate(
            kCFAllocatorDefault, settings.width, settings.height, kCMVideoCodecType_H264, nullptr, nullptr,
            nullptr, &VideoToolboxEncoder::output, this, &session);
        session_.reset(session);
        if (status != 0 || !session_) {
            throw EncoderFailure(status, "VTCompressionSessionCreate failed: " + std::to_string(status));
        }
        configure();
        VTCompressionSessionPrepareToEncodeFrames(session_.get());
    }
    ~VideoToolboxEncoder() override { invalidate(); }
    VideoToolboxEncoder(const VideoToolboxEncoder&) = delete;
    VideoToolboxEncoder& operator=(const VideoToolboxEncoder&) = delete;

    bool acceptsPicture() const override {
        const MutexLock guard(lock_);
        return !ended_ && !waiting_.picture && inside_ < kMostInside;
    }

    void encode(PicturePtr picture, uint64_t presentationMicroseconds) override {
        Submission submission{std::move(picture), static_cast<int64_t>(presentationMicroseconds)};
        {
            const MutexLock guard(lock_);
            if (ended_ || !submission.picture) return;
            std::swap(waiting_, submission);
        }
        // A replaced picture leaves its turn to this one.
        if (!submission.picture)
            dispatch_async(queue_, ^{
              submit();
            });
    }

    void invalidate() override {
        {
            const MutexLock guard(lock_);
            ended_ = true;
        }
        // What waits stands before this in the queue.
        dispatch_sync(queue_, ^{
          if (!session_) return;
          VTCompressionSessionCompleteFrames(session_.get(), kCMTimeInvalid);
          VTCompressionSessionInvalidate(session_.get());
          session_.reset();
        });
    }

  private:
    struct Submission {
        PicturePtr picture;
        int64_t time = 0;  ///< of presentation, microseconds
    };

    void set(CFStringRef property, id value) {
        // An encoder that does not know a property goes on without it.
        VTSessionSetProperty(session_.get(), property, (__bridge CFTypeRef)value);
    }

    void configure() {
        set(kVTCompressionPropertyKey_RealTime, @YES);
        set(kVTCompressionPropertyKey_AllowFrameReordering, @NO);
        set(kVTCompressionPropertyKey_ProfileLevel, (__bridge id)kVTProfileLevel_H264_Main_AutoLevel);
        set(kVTCompressionPropertyKey_AverageBitRate, @(settings_.bitrate));
        set(kVTCompressionPropertyKey_ExpectedFrameRate, @(settings_.fps));
        set(kVTCompressionPropertyKey_MaxKeyFrameInterval, @(settings_.fps * settings_.keyframeSeconds));
        set(kVTCompressionPropertyKey_MaxKeyFrameIntervalDuration, @(settings_.keyframeSeconds));
        set(kVTCompressionPropertyKey_Quality, @0.5);
        // By its name and on the running session, not as a specification of the encoder: there it would
        // choose another encoder, with other rules for the bit rate.
        set((__bridge CFStringRef) @"EnableLowLatencyRateControl", @YES);
    }

    /// On the queue.
    void submit() {
        Submission submission;
        {
            const MutexLock guard(lock_);
            submission = std::exchange(waiting_, {});
        }
        if (!session_) return;
        {
            const MutexLock one(calling_);
            if (!callbacks_.ready()) {
                callbacks_.pictureWanted();
                return;
            }
        }
        const Owned<CVPixelBufferRef> buffer = pixelBufferOf(submission.picture);
        if (!buffer) return;
        {
            const MutexLock guard(lock_);
            ++inside_;
        }
        const OSStatus status = VTCompressionSessionEncodeFrame(
            session_.get(), buffer.get(), CMTimeMake(submission.time, kMicroseconds),
            CMTimeMake(1, settings_.fps), nullptr, nullptr, nullptr);
        if (status != 0) left();  // nothing is delivered for a picture that was refused
    }

    void left() {
        const MutexLock guard(lock_);
        if (inside_ > 0) --inside_;
    }

    /// VideoToolbox's thread.
    static void output(void* encoder, void*, OSStatus status, VTEncodeInfoFlags flags,
                       CMSampleBufferRef sample) {
        if (encoder == nullptr) return;
        auto* const self = static_cast<VideoToolboxEncoder*>(encoder);
        self->left();
        if (status == 0 && sample != nullptr) self->deliver(sample, flags);
    }

    void deliver(CMSampleBufferRef sample, VTEncodeInfoFlags flags) {
        EncodedSample encoded;
        encoded.dropped = (flags & kVTEncodeInfo_FrameDropped) != 0;
        const CMFormatDescriptionRef format = CMSampleBufferGetFormatDescription(sample);
        const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sample);
        if (format == nullptr || block == nullptr) return;
        encoded.sps = parameterSet(format, 0);
        encoded.pps = parameterSet(format, 1);
        encoded.data = bytesOf(block, gathered_);
        encoded.presentationMicroseconds = presentationTime(sample);
        const MutexLock one(calling_);
        callbacks_.onSample(encoded);
    }

    const EncoderSettings settings_;
    const EncoderCallbacks callbacks_;
    const dispatch_queue_t queue_;

    Owned<VTCompressionSessionRef> session_;  ///< the queue's; empty after invalidation
    Bytes gathered_;                          ///< VideoToolbox's thread only

    Mutex calling_;  ///< one callback at a time: the queue asks, VideoToolbox's thread delivers
    mutable Mutex lock_;
    Submission waiting_ GUARDED_BY(lock_);
    int inside_ GUARDED_BY(lock_) = 0;
    bool ended_ GUARDED_BY(lock_) = false;
};

}  // namespace

std::unique_ptr<VideoEncoder> makeVideoToolboxEncoder(const EncoderSettings& settings,
                                                      EncoderCallbacks callbacks) {
    return std::make_unique<VideoToolboxEncoder>(settings, std::move(callbacks));
}

}  // namespace quillon
