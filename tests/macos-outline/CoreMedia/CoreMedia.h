#pragma once

// Outline of CoreMedia: times, samples and format descriptions, as far as platform/macos/ calls them.

#include <CoreVideo/CoreVideo.h>

#pragma clang assume_nonnull begin

typedef int64_t CMTimeValue;
typedef int32_t CMTimeScale;
typedef uint32_t CMTimeFlags;
typedef int64_t CMTimeEpoch;
#pragma pack(push, 4)
typedef struct {
    CMTimeValue value;
    CMTimeScale timescale;
    CMTimeFlags flags;
    CMTimeEpoch epoch;
} CMTime;
#pragma pack(pop)

typedef struct opaqueCMSampleBuffer* CMSampleBufferRef;
typedef struct OpaqueCMBlockBuffer* CMBlockBufferRef;
typedef const struct opaqueCMFormatDescription* CMFormatDescriptionRef;
typedef CMFormatDescriptionRef CMVideoFormatDescriptionRef;
typedef FourCharCode CMVideoCodecType;
enum : CMVideoCodecType { kCMVideoCodecType_H264 = 'avc1' };

extern "C" {

extern const CMTime kCMTimeInvalid;
CMTime CMTimeMake(int64_t value, int32_t timescale);
Float64 CMTimeGetSeconds(CMTime time);

Boolean CMSampleBufferIsValid(CMSampleBufferRef sample);
CFArrayRef _Nullable CMSampleBufferGetSampleAttachmentsArray(CMSampleBufferRef sample,
                                                             Boolean createIfNecessary);
CVImageBufferRef _Nullable CMSampleBufferGetImageBuffer(CMSampleBufferRef sample);
CMBlockBufferRef _Nullable CMSampleBufferGetDataBuffer(CMSampleBufferRef sample);
CMFormatDescriptionRef _Nullable CMSampleBufferGetFormatDescription(CMSampleBufferRef sample);
CMTime CMSampleBufferGetPresentationTimeStamp(CMSampleBufferRef sample);

OSStatus CMBlockBufferGetDataPointer(CMBlockBufferRef block, size_t offset, size_t* _Nullable lengthAtOffset,
                                     size_t* _Nullable totalLength, char* _Nullable* _Nullable data);
OSStatus CMBlockBufferCopyDataBytes(CMBlockBufferRef block, size_t offset, size_t length, void* destination);

OSStatus CMVideoFormatDescriptionGetH264ParameterSetAtIndex(CMFormatDescriptionRef format, size_t index,
                                                            const uint8_t* _Nullable* _Nullable set,
                                                            size_t* _Nullable size, size_t* _Nullable count,
                                                            int* _Nullable lengthFieldSize);

}  // extern "C"

#pragma clang assume_nonnull end
