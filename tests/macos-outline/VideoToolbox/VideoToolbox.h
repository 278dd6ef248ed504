#pragma once

// Outline of VideoToolbox: compression sessions, as far as platform/macos/ calls them.

#include <CoreMedia/CoreMedia.h>

typedef struct OpaqueVTCompressionSession* VTCompressionSessionRef;
typedef CFTypeRef VTSessionRef;
typedef uint32_t VTEncodeInfoFlags;
enum : VTEncodeInfoFlags { kVTEncodeInfo_FrameDropped = 1u << 1 };

typedef void (*VTCompressionOutputCallback)(void* context, void* sourceFrame, OSStatus status,
                                            VTEncodeInfoFlags flags, CMSampleBufferRef sample);

extern "C" {

extern const CFStringRef kVTCompressionPropertyKey_RealTime;
extern const CFStringRef kVTCompressionPropertyKey_AllowFrameReordering;
extern const CFStringRef kVTCompressionPropertyKey_ProfileLevel;
extern const CFStringRef kVTCompressionPropertyKey_AverageBitRate;
extern const CFStringRef kVTCompressionPropertyKey_ExpectedFrameRate;
extern const CFStringRef kVTCompressionPropertyKey_MaxKeyFrameInterval;
extern const CFStringRef kVTCompressionPropertyKey_MaxKeyFrameIntervalDuration;
extern const CFStringRef kVTCompressionPropertyKey_Quality;
extern const CFStringRef kVTProfileLevel_H264_Main_AutoLevel;

OSStatus VTCompressionSessionCreate(CFAllocatorRef allocator, int32_t width, int32_t height,
                                    CMVideoCodecType codec, CFDictionaryRef encoderSpecification,
                                    CFDictionaryRef sourceAttributes, CFAllocatorRef compressedDataAllocator,
                                    VTCompressionOutputCallback callback, void* context,
                                    VTCompressionSessionRef* session);
OSStatus VTSessionSetProperty(VTSessionRef session, CFStringRef key, CFTypeRef value);
OSStatus VTCompressionSessionPrepareToEncodeFrames(VTCompressionSessionRef session);
OSStatus VTCompressionSessionEncodeFrame(VTCompressionSessionRef session, CVImageBufferRef image,
                                         CMTime presentationTime, CMTime duration,
                                         CFDictionaryRef frameProperties, void* sourceFrame,
                                         VTEncodeInfoFlags* flags);
OSStatus VTCompressionSessionCompleteFrames(VTCompressionSessionRef session, CMTime untilPresentationTime);
void VTCompressionSessionInvalidate(VTCompressionSessionRef session);

}  // extern "C"
