// expected: cannot initialize a parameter of type 'void (^
#import <ScreenCaptureKit/ScreenCaptureKit.h>

void start(SCStream* stream) {
    [stream startCaptureWithCompletionHandler:^(NSString* reason) {
      NSLog(@"%@", reason);
    }];
}
