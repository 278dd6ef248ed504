#include "platform/macos/capture.hpp"

#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <algorithm>
#include <utility>

#include "platform/macos/frame_desk.hpp"
#include "platform/macos/text.hpp"
#include "platform/macos/threads.hpp"

/// Hands the stream's frames to a desk.
@interface QuillonStreamOutput : NSObject <SCStreamOutput>
- (instancetype)initWithDesk:(std::shared_ptr<quillon::FrameDesk>)desk;
@end

@implementation QuillonStreamOutput {
    std::shared_ptr<quillon::FrameDesk> _desk;
}

- (instancetype)initWithDesk:(std::shared_ptr<quillon::FrameDesk>)desk {
    if ((self = [super init])) _desk = std::move(desk);
    return self;
}

- (void)stream:(SCStream*)stream
    didOutputSampleBuffer:(CMSampleBufferRef)sampleBuffer
                   ofType:(SCStreamOutputType)type {
    // The queue's own pool may wait long for an idle moment, and what it holds, holds the frames.
    @autoreleasepool {
        if (type == SCStreamOutputTypeScreen) _desk->take(sampleBuffer);
    }
}

@end

namespace quillon {

namespace {

constexpr Duration kListingLimit = 5s;
constexpr Duration kStartLimit = 10s;
constexpr Duration kStopLimit = 5s;
/// Buffers that ScreenCaptureKit shares with us: it draws into one, the newest is kept, one is being encoded.
constexpr NSInteger kBuffers = 3;

/// Why the system refused, or that it kept silent.
[[noreturn]] void fail(NSError* error) {
    throw CaptureFailure(error != nil ? plainText(error.localizedDescription)
                                      : "the system's screen capture does not answer");
}

/// Calls `begin` with a completion handler and waits for it, `limit` at most. False when it did not come;
/// otherwise `error` is what it said. A handler that comes later finds nobody and harms nothing.
bool awaitCompletion(Duration limit, NSError* __strong& error,
                     void (^begin)(void (^completion)(NSError* failure))) {
    const dispatch_semaphore_t done = dispatch_semaphore_create(0);
    __block NSError* said = nil;
    begin(^(NSError* failure) {
      said = failure;
      dispatch_semaphore_signal(done);
    });
    if (dispatch_semaphore_wait(done, afterNow(limit)) != 0) return false;
    error = said;
    return true;
}

/// The displays that may be captured. Throws CaptureFailure, without the user's permission for example.
NSArray<SCDisplay*>* shareable() {
    __block NSArray<SCDisplay*>* listed = nil;
    NSError* error = nil;
    const bool answered = awaitCompletion(kListingLimit, error, ^(void (^completion)(NSError*)) {
      [SCShareableContent
          getShareableContentExcludingDesktopWindows:NO
                                 onScreenWindowsOnly:YES
                                   completionHandler:^(SCShareableContent* content, NSError* failure) {
                                     listed = content.displays;
                                     completion(failure);
                                   }];
    });
    if (!answered || error != nil || listed == nil) fail(error);
    return listed;
}

SCStreamConfiguration* configurationFor(const CaptureRequest& request) {
    SCStreamConfiguration* const configuration = [SCStreamConfiguration new];
    configuration.width = static_cast<size_t>(request.output.width);
    configuration.height = static_cast<size_t>(request.output.height);
    configuration.minimumFrameInterval = CMTimeMake(1, request.fps);
    configuration.pixelFormat = kCVPixelFormatType_32BGRA;
    configuration.showsCursor = request.showsCursor;
    configuration.queueDepth = kBuffers;
    configuration.capturesAudio = NO;
    if (const auto& part = request.sourceRect) {
        configuration.sourceRect = CGRectMake(part->x, part->y, part->width, part->height);
    } else {
        configuration.scalesToFit = YES;
        configuration.preservesAspectRatio = request.preservesAspectRatio;
    }
    return configuration;
}

/// While it lives the system slows neither our timers nor our threads, as it does to programs without a
/// visible window. It may still go to sleep when it idles.
class AwakeProgram {
  public:
    AwakeProgram() = default;
    ~AwakeProgram() { [NSProcessInfo.processInfo endActivity:activity_]; }
    AwakeProgram(const AwakeProgram&) = delete;
    AwakeProgram& operator=(const AwakeProgram&) = delete;

  private:
    const id<NSObject> activity_ = [NSProcessInfo.processInfo
        beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep | NSActivityLatencyCritical
                          reason:@"Streaming the screen"];
};

class MacCaptureStream : public CaptureStream {
  public:
    MacCaptureStream(SCStream* stream, QuillonStreamOutput* output, dispatch_queue_t queue,
                     std::shared_ptr<FrameDesk> desk)
        : stream_(stream), output_(output), queue_(queue), desk_(std::move(desk)) {}
    ~MacCaptureStream() override { stop(); }
    MacCaptureStream(const MacCaptureStream&) = delete;
    MacCaptureStream& operator=(const MacCaptureStream&) = delete;

    void stop() override {
        if (stream_ == nil) return;
        dispatch_sync(queue_, ^{
          desk_->end();
        });
        SCStream* const stream = std::exchange(stream_, nil);
        NSError* ignored = nil;
        awaitCompletion(kStopLimit, ignored, ^(void (^completion)(NSError*)) {
          [stream stopCaptureWithCompletionHandler:completion];
        });
    }

    void requestPicture() override {
        const auto desk = desk_;
        dispatch_async(queue_, ^{
          desk->request();
        });
    }

  private:
    SCStream* stream_;                                    ///< nil once it was stopped
    [[maybe_unused]] QuillonStreamOutput* const output_;  ///< kept: the stream may not hold it
    const dispatch_queue_t queue_;
    const std::shared_ptr<FrameDesk> desk_;
    const AwakeProgram awake_;
};

}  // namespace

std::vector<Capture::Display> MacCapture::shareableDisplays() {
    @autoreleasepool {
        std::vector<Display> displays;
        for (SCDisplay* each in shareable()) {
            displays.push_back(
                {each.displayID, {static_cast<int>(each.width), static_cast<int>(each.height)}});
        }
        return displays;
    }
}

std::unique_ptr<CaptureStream> MacCapture::start(const CaptureRequest& request, CaptureCallbacks callbacks) {
    @autoreleasepool {
        SCDisplay* display = nil;
        for (SCDisplay* each in shareable()) {
            if (each.displayID == request.display) display = each;
        }
        if (display == nil) throw CaptureFailure("the display to capture is gone");

        SCContentFilter* const whole = [[SCContentFilter alloc] initWithDisplay:display excludingWindows:@[]];
        SCStream* const stream = [[SCStream alloc] initWithFilter:whole
                                                    configuration:configurationFor(request)
                                                         delegate:nil];
        const dispatch_queue_t queue = makeLabelledQueue(".capture", Priority::userInteractive);
        const auto desk = std::make_shared<FrameDesk>(queue, std::move(callbacks));
        QuillonStreamOutput* const output = [[QuillonStreamOutput alloc] initWithDesk:desk];
        NSError* error = nil;
        if (![stream addStreamOutput:output
                                type:SCStreamOutputTypeScreen
                  sampleHandlerQueue:queue
                               error:&error]) {
            fail(error);
        }
        // From here on it is stopped whatever happens, also when it starts after we have given up.
        auto running = std::make_unique<MacCaptureStream>(stream, output, queue, desk);
        const bool answered = awaitCompletion(kStartLimit, error, ^(void (^completion)(NSError*)) {
          [stream startCaptureWithCompletionHandler:completion];
        });
        if (!answered || error != nil) fail(error);
        return running;
    }
}

}  // namespace quillon
