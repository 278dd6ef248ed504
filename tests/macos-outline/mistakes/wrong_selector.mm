// expected: no visible @interface for 'SCStream' declares the selector 'startCaptureWithHandler:'
#import <ScreenCaptureKit/ScreenCaptureKit.h>

void start(SCStream* stream) {
    [stream startCaptureWithHandler:nil];
}
