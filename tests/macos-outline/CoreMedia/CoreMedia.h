#pragma once

// Outline of CoreMedia: times, samples and format descriptions, as far as platform/macos/ calls them.

#include <CoreVideo/CoreVideo.h>

typedef int64_t CMTimeValue;
typedef int32_t CMTimeScale;
typedef struct {
    CMTimeValue value;
    CMTimeScale timescale;
    uint32_t flags;
    int64_t epoch;
} CMTime;

typedef struct opaqueCMSampleBuffer* CMSampleBufferRef;
typedef struct OpaqueCMBlockBuffer* CMBlockBufferRef;
typedef const struct opaqueCMFormatDescription* CMFormatDescriptionRef;
typedef CMFormatDescriptionRef CMVideoFormatDescriptionRef;
typedef FourCharCode CMVideoCodecType;
enum : CMVideoCodecType { kCMVideoCodecType_H264 = 'avc1' };

extern "C" {

extern const CMTime kCMTimeInvalid;
CMTime CMTimeMake(int64_t value, int32_t timescale);
double CMTimeGetSeconds(CMTime time);

Boolean CMSampleBufferIsValid(CMSampleBufferRef sample);
CFArrayRef CMSampleBufferGetSampleAttachmentsArray(CMSampleBufferRef sample, Boolean createIfNecessary);
CVImageBufferRef CMSampleBufferGetImageBuffer(CMSampleBufferRef sample);
CMBlockBufferRef CMSampleBufferGetDataBuffer(CMSampleBufferRef sample);
CMFormatDescriptionRef CMSampleBufferGetFormatDescription(CMSampleBufferRef sample);
CMTime CMSampleBufferGetPresentationTimeStamp(CMSampleBufferRef sample);

OSStatus CMBlockBufferGetDataPointer(CMBlockBufferRef block, size_t offset, size_t* lengthAtOffset,
                                     size_t* totalLength, char** data);
OSStatus CMBlockBufferCopyDataBytes(CMBlockBufferRef block, size_t offset, size_t length, void* destination);

OSStatus CMVideoFormatDescriptionGetH264ParameterSetAtIndex(CMFormatDescriptionRef format, size_t index,
                                                            const uint8_t** set, size_t* size, size_t* count,
                                                            int* lengthFieldSize);

}  // extern "C"
