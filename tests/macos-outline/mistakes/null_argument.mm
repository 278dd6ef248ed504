// expected: null passed to a callee that requires a non-null argument
#import <VideoToolbox/VideoToolbox.h>

void end() {
    VTCompressionSessionInvalidate(nullptr);
}
