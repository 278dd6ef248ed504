#pragma once

// Outline of VideoToolbox: compression sessions, as far as platform/macos/ calls them.

#include <CoreMedia/CoreMedia.h>

#pragma clang assume_nonnull begin

typedef struct OpaqueVTCompressionSession* VTCompressionSessionRef;
typedef CFTypeRef VTSessionRef;
typedef uint32_t VTEncodeInfoFlags;
enum : VTEncodeInfoFlags { kVTEncodeInfo_FrameDropped = 1u << 1 };

typedef void (*VTCompressionOutputCallback)(void* _Nullable context, void* _Nullable sourceFrame,
                                            OSStatus status, VTEncodeInfoFlags flags,
                                            CMSampleBufferRef _Nullable sample);

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

OSStatus VTCompressionSessionCreate(CFAllocatorRef _Nullable allocator, int32_t width, int32_t height,
                                    CMVideoCodecType codec, CFDictionaryRef _Nullable encoderSpecification,
                                    CFDictionaryRef _Nullable sourceAttributes,
                                    CFAllocatorRef _Nullable compressedDataAllocator,
                                    VTCompressionOutputCallback _Nullable callback, void* _Nullable context,
                                    VTCompressionSessionRef _Nullable* session);
OSStatus VTSessionSetProperty(VTSessionRef session, CFStringRef key, CFTypeRef _Nullable value);
OSStatus VTCompressionSessionPrepareToEncodeFrames(VTCompressionSessionRef session);
OSStatus VTCompressionSessionEncodeFrame(VTCompressionSessionRef session, CVImageBufferRef image,
                                         CMTime presentationTime, CMTime duration,
                                         CFDictionaryRef _Nullable frameProperties,
                                         void* _Nullable sourceFrame, VTEncodeInfoFlags* _Nullable flags);
OSStatus VTCompressionSessionCompleteFrames(VTCompressionSessionRef session, CMTime untilPresentationTime);
void VTCompressionSessionInvalidate(VTCompressionSessionRef session);

}  // extern "C"

#pragma clang assume_nonnull end
