#pragma once

// Outline of CoreVideo: pixel buffers, as far as platform/macos/ calls them.

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>

typedef struct __CVBuffer* CVBufferRef;
typedef CVBufferRef CVImageBufferRef;
typedef CVImageBufferRef CVPixelBufferRef;
typedef int32_t CVReturn;
enum : CVReturn { kCVReturnSuccess = 0 };
typedef uint64_t CVOptionFlags;
typedef CVOptionFlags CVPixelBufferLockFlags;
enum : OSType { kCVPixelFormatType_32BGRA = 'BGRA' };
typedef void (*CVPixelBufferReleaseBytesCallback)(void* context, const void* base);

extern "C" {

extern const CFStringRef kCVPixelBufferIOSurfacePropertiesKey;
extern const CFStringRef kCVPixelBufferMetalCompatibilityKey;
extern const CFStringRef kCVPixelBufferCGImageCompatibilityKey;

CVReturn CVPixelBufferCreate(CFAllocatorRef allocator, size_t width, size_t height, OSType format,
                             CFDictionaryRef attributes, CVPixelBufferRef* buffer);
CVReturn CVPixelBufferCreateWithBytes(CFAllocatorRef allocator, size_t width, size_t height, OSType format,
                                      void* base, size_t bytesPerRow,
                                      CVPixelBufferReleaseBytesCallback release, void* context,
                                      CFDictionaryRef attributes, CVPixelBufferRef* buffer);
CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef buffer, CVPixelBufferLockFlags flags);
CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef buffer, CVPixelBufferLockFlags flags);
void* CVPixelBufferGetBaseAddress(CVPixelBufferRef buffer);
size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef buffer);
size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer);
size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer);

}  // extern "C"
