#pragma once

// Outline of CoreFoundation: the declarations that platform/macos/ calls. Functions with "Create" or "Copy"
// in their name hand the caller one reference.

#include <stdint.h>

#define CF_BRIDGED(type) __attribute__((objc_bridge(type)))
#define CF_AVAILABLE_MAC(version) __attribute__((availability(macos, introduced = version)))

typedef unsigned char Boolean;
typedef int32_t SInt32;
typedef uint32_t UInt32;
typedef uint32_t FourCharCode;
typedef FourCharCode OSType;
typedef SInt32 OSStatus;
typedef long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFHashCode;
typedef double Float64;
typedef double CGFloat;

struct CGPoint {
    CGFloat x;
    CGFloat y;
};
struct CGSize {
    CGFloat width;
    CGFloat height;
};
struct CGRect {
    CGPoint origin;
    CGSize size;
};
typedef struct CGPoint CGPoint;
typedef struct CGSize CGSize;
typedef struct CGRect CGRect;

#pragma clang assume_nonnull begin

extern "C" {

typedef const void* CFTypeRef;
typedef const struct CF_BRIDGED(NSString) __CFString* CFStringRef;
typedef const struct CF_BRIDGED(NSArray) __CFArray* CFArrayRef;
typedef const struct CF_BRIDGED(NSDictionary) __CFDictionary* CFDictionaryRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef struct __CFRunLoop* CFRunLoopRef;
typedef struct __CFRunLoopSource* CFRunLoopSourceRef;
typedef CFStringRef CFRunLoopMode;

extern const CFAllocatorRef _Nullable kCFAllocatorDefault;
extern const CFRunLoopMode kCFRunLoopCommonModes;

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);

CFTypeID CFArrayGetTypeID(void);
CFTypeID CFBooleanGetTypeID(void);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* _Nullable CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

extern const CFStringRef kCFPreferencesCurrentApplication;
extern const CFStringRef kCFPreferencesCurrentUser;
extern const CFStringRef kCFPreferencesAnyHost;
void CFPreferencesSetMultiple(CFDictionaryRef _Nullable stored, CFArrayRef _Nullable removed,
                              CFStringRef application, CFStringRef user, CFStringRef host);
Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host);

#pragma clang assume_nonnull end
// Of its pointers nothing is said.
typedef struct {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
    Boolean (*equal)(const void* one, const void* other);
    CFHashCode (*hash)(const void* info);
    void (*schedule)(void* info, CFRunLoopRef loop, CFRunLoopMode mode);
    void (*cancel)(void* info, CFRunLoopRef loop, CFRunLoopMode mode);
    void (*perform)(void* info);
} CFRunLoopSourceContext;
#pragma clang assume_nonnull begin

CFRunLoopRef CFRunLoopGetMain(void);
void CFRunLoopWakeUp(CFRunLoopRef loop);
CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef _Nullable allocator, CFIndex order,
                                         CFRunLoopSourceContext* context);
void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode);
void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source);
void CFRunLoopSourceSignal(CFRunLoopSourceRef source);

}  // extern "C"

#pragma clang assume_nonnull end
