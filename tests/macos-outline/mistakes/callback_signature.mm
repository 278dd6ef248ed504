// expected: no matching function for call to 'VTCompressionSessionCreate'
#import <VideoToolbox/VideoToolbox.h>

static void output(void*, void*, OSStatus, CMSampleBufferRef) {}

VTCompressionSessionRef make(void* context) {
    VTCompressionSessionRef session = nullptr;
    VTCompressionSessionCreate(nullptr, 640, 480, kCMVideoCodecType_H264, nullptr, nullptr, nullptr, output,
                               context, &session);
    return session;
}
