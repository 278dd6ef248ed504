// expected: 'setCaptureMicrophone:' is only available on macOS 15.0 or newer
#import <ScreenCaptureKit/ScreenCaptureKit.h>

// Newer than the oldest system we run on.
@interface SCStreamConfiguration (Newer)
@property(nonatomic, assign) BOOL captureMicrophone API_AVAILABLE_MACOS(15.0);
@end

void listen(SCStreamConfiguration* configuration) {
    configuration.captureMicrophone = YES;
}
