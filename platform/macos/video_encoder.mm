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
/// How long the pictures inside may take when the session ends. Each takes milliseconds.
constexpr Duration kEndLimit = 5s;

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
/// hardware. VideoToolbox delivers on a thread of its own.
///
/// Shared by the encoder and the work on its queue: when the hardware never finishes, the work that waits for
/// it keeps this alive, and so VideoToolbox's pointer to it good.
class Compression : public std::enable_shared_from_this<Compression> {
  public:
    Compression(const EncoderSettings& settings, EncoderCallbacks callbacks)
        : settings_(settings),
          queue_(makeLabelledQueue(".encoder", Priority::userInteractive)),
          callbacks_(std::move(callbacks)) {
        VTCompressionSessionRef session = nullptr;
        const OSStatus status = VTCompressionSessionCreate(
            kCFAllocatorDefault, settings.width, settings.height, kCMVideoCodecType_H264, nullptr, nullptr,
            nullptr, &Compression::output, this, &session);
        session_.reset(session);
        if (status != 0 || !session_) {
            throw EncoderFailure(status, "VTCompressionSessionCreate failed: " + std::to_string(status));
        }
        configure();
        VTCompressionSessionPrepareToEncodeFrames(session_.get());
    }

    bool acceptsPicture() const {
        const MutexLock guard(lock_);
        return !ended_ && !waiting_.picture && inside_ < kMostInside;
    }

    void encode(PicturePtr picture, uint64_t presentationMicroseconds) {
        Submission submission{std::move(picture), static_cast<int64_t>(presentationMicroseconds)};
        {
            const MutexLock guard(lock_);
            if (ended_ || !submission.picture) return;
            std::swap(waiting_, submission);
        }
        if (submission.picture) return;  // a replaced picture leaves its turn to this one
        const auto self = shared_from_this();
        dispatch_async(queue_, ^{
          self->submit();
        });
    }

    /// Encodes what waits and ends the session; no callback runs afterwards. The framework waits for pending
    /// pictures without a limit, so another thread does, and we wait for that thread.
    void end() {
        {
            const MutexLock guard(lock_);
            if (std::exchange(ended_, true)) return;
        }
        const auto self = shared_from_this();
        const dispatch_semaphore_t done = dispatch_semaphore_create(0);
        dispatch_async(queue_, ^{  // what waits stands before this in the queue
          VTCompressionSessionCompleteFrames(self->session_.get(), kCMTimeInvalid);
          VTCompressionSessionInvalidate(self->session_.get());
          self->session_.reset();
          dispatch_semaphore_signal(done);
        });
        dispatch_semaphore_wait(done, afterNow(kEndLimit));
        EncoderCallbacks unheard;  // goes after the lock
        const MutexLock one(calling_);
        std::swap(callbacks_, unheard);
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
            if (!callbacks_.ready) return;
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
    static void output(void* compression, void*, OSStatus status, VTEncodeInfoFlags flags,
                       CMSampleBufferRef sample) {
        if (compression == nullptr) return;
        auto* const self = static_cast<Compression*>(compression);
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
        if (callbacks_.onSample) callbacks_.onSample(encoded);
    }

    const EncoderSettings settings_;
    const dispatch_queue_t queue_;

    Owned<VTCompressionSessionRef> session_;  ///< the queue's; empty after the end
    Bytes gathered_;                          ///< VideoToolbox's thread only

    Mutex calling_;  ///< one callback at a time: the queue asks, VideoToolbox's thread delivers
    EncoderCallbacks callbacks_ GUARDED_BY(calling_);  ///< none any more after the end
    mutable Mutex lock_;
    Submission waiting_ GUARDED_BY(lock_);
    int inside_ GUARDED_BY(lock_) = 0;
    bool ended_ GUARDED_BY(lock_) = false;
};

class VideoToolboxEncoder : public VideoEncoder {
  public:
    VideoToolboxEncoder(const EncoderSettings& settings, EncoderCallbacks callbacks)
        : compression_(std::make_shared<Compression>(settings, std::move(callbacks))) {}
    ~VideoToolboxEncoder() override { compression_->end(); }
    VideoToolboxEncoder(const VideoToolboxEncoder&) = delete;
    VideoToolboxEncoder& operator=(const VideoToolboxEncoder&) = delete;

    bool acceptsPicture() const override { return compression_->acceptsPicture(); }
    void encode(PicturePtr picture, uint64_t presentationMicroseconds) override {
        compression_->encode(std::move(picture), presentationMicroseconds);
    }
    void invalidate() override { compression_->end(); }

  private:
    const std::shared_ptr<Compression> compression_;
};

}  // namespace

std::unique_ptr<VideoEncoder> makeVideoToolboxEncoder(const EncoderSettings& settings,
                                                      EncoderCallbacks callbacks) {
    return std::make_unique<VideoToolboxEncoder>(settings, std::move(callbacks));
}

}  // namespace quillon
