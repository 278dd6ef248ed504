// expected: conflicting parameter types in implementation of 'stream:didOutputSampleBuffer:ofType:'
#import <ScreenCaptureKit/ScreenCaptureKit.h>

@interface Output : NSObject <SCStreamOutput>
@end

@implementation Output
- (void)stream:(SCStream*)stream
    didOutputSampleBuffer:(CMBlockBufferRef)sample
                   ofType:(SCStreamOutputType)type {
}
@end
