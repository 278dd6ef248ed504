#pragma once

// Outline of CoreVideo: pixel buffers, as far as platform/macos/ calls them.

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>

#pragma clang assume_nonnull begin

typedef struct __CVBuffer* CVBufferRef;
typedef CVBufferRef CVImageBufferRef;
typedef CVImageBufferRef CVPixelBufferRef;
typedef int32_t CVReturn;
enum : CVReturn { kCVReturnSuccess = 0 };
typedef uint64_t CVOptionFlags;
typedef CVOptionFlags CVPixelBufferLockFlags;
enum : OSType { kCVPixelFormatType_32BGRA = 'BGRA' };
typedef void (*CVPixelBufferReleaseBytesCallback)(void* _Nullable context, const void* _Nullable base);

extern "C" {

extern const CFStringRef kCVPixelBufferIOSurfacePropertiesKey;
extern const CFStringRef kCVPixelBufferMetalCompatibilityKey;
extern const CFStringRef kCVPixelBufferCGImageCompatibilityKey;

CVReturn CVPixelBufferCreate(CFAllocatorRef _Nullable allocator, size_t width, size_t height, OSType format,
                             CFDictionaryRef _Nullable attributes, CVPixelBufferRef _Nullable* buffer);
CVReturn CVPixelBufferCreateWithBytes(CFAllocatorRef _Nullable allocator, size_t width, size_t height,
                                      OSType format, void* base, size_t bytesPerRow,
                                      CVPixelBufferReleaseBytesCallback _Nullable release,
                                      void* _Nullable context, CFDictionaryRef _Nullable attributes,
                                      CVPixelBufferRef _Nullable* buffer);
CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef buffer, CVPixelBufferLockFlags flags);
CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef buffer, CVPixelBufferLockFlags flags);
void* _Nullable CVPixelBufferGetBaseAddress(CVPixelBufferRef buffer);
size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef buffer);
size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer);
size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer);

}  // extern "C"

#pragma clang assume_nonnull end
