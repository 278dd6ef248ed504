// expected: cannot initialize a parameter of type 'SCContentFilter * _Nonnull'
#import <ScreenCaptureKit/ScreenCaptureKit.h>

SCStream* make(SCDisplay* display, SCStreamConfiguration* configuration) {
    return [[SCStream alloc] initWithFilter:display configuration:configuration delegate:nil];
}
