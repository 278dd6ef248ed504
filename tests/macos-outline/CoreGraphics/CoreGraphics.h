#pragma once

// Outline of CoreGraphics: the declarations that platform/macos/ calls.

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>

inline CGPoint CGPointMake(CGFloat x, CGFloat y) {
    return CGPoint{x, y};
}
inline CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
    return CGRect{{x, y}, {width, height}};
}

#pragma clang assume_nonnull begin

typedef uint32_t CGDirectDisplayID;
typedef enum : int32_t { kCGErrorSuccess = 0 } CGError;
#define kCGNullDirectDisplay ((CGDirectDisplayID)0)
typedef int boolean_t;

typedef struct CGDisplayMode* CGDisplayModeRef;
typedef struct _CGDisplayConfigRef* CGDisplayConfigRef;
typedef uint32_t CGConfigureOption;  // options are whole numbers in C++
enum : CGConfigureOption { kCGConfigureForSession = 1 };

typedef struct CGEvent* CGEventRef;
typedef struct CGEventSource* CGEventSourceRef;
typedef enum : uint32_t {
    kCGEventLeftMouseDown = 1,
    kCGEventLeftMouseUp = 2,
    kCGEventMouseMoved = 5,
    kCGEventLeftMouseDragged = 6,
} CGEventType;
typedef enum : uint32_t { kCGMouseButtonLeft = 0 } CGMouseButton;
typedef enum : uint32_t { kCGHIDEventTap = 0 } CGEventTapLocation;
typedef enum : uint32_t { kCGMouseEventClickState = 1 } CGEventField;
typedef enum : uint32_t { kCGScrollEventUnitPixel = 0 } CGScrollEventUnit;

typedef struct CGContext* CGContextRef;
typedef struct CGColorSpace* CGColorSpaceRef;
typedef struct CGColor* CGColorRef;
typedef enum : uint32_t { kCGImageAlphaNoneSkipFirst = 6 } CGImageAlphaInfo;
typedef uint32_t CGBitmapInfo;
enum : CGBitmapInfo { kCGBitmapByteOrder32Little = 2u << 12 };

extern "C" {

// Displays. Any thread.
CGError CGGetActiveDisplayList(uint32_t capacity, CGDirectDisplayID* _Nullable displays,
                               uint32_t* _Nullable count);
CGDirectDisplayID CGMainDisplayID(void);
CGRect CGDisplayBounds(CGDirectDisplayID display);
uint32_t CGDisplayVendorNumber(CGDirectDisplayID display);
uint32_t CGDisplayModelNumber(CGDirectDisplayID display);
boolean_t CGDisplayIsInMirrorSet(CGDirectDisplayID display);
CGDirectDisplayID CGDisplayMirrorsDisplay(CGDirectDisplayID display);

CFArrayRef _Nullable CGDisplayCopyAllDisplayModes(CGDirectDisplayID display,
                                                  CFDictionaryRef _Nullable options);
CGDisplayModeRef _Nullable CGDisplayCopyDisplayMode(CGDirectDisplayID display);
CGError CGDisplaySetDisplayMode(CGDirectDisplayID display, CGDisplayModeRef _Nullable mode,
                                CFDictionaryRef _Nullable options);
size_t CGDisplayModeGetWidth(CGDisplayModeRef _Nullable mode);
size_t CGDisplayModeGetHeight(CGDisplayModeRef _Nullable mode);
size_t CGDisplayModeGetPixelWidth(CGDisplayModeRef _Nullable mode);
size_t CGDisplayModeGetPixelHeight(CGDisplayModeRef _Nullable mode);
int32_t CGDisplayModeGetIODisplayModeID(CGDisplayModeRef _Nullable mode);

CGError CGBeginDisplayConfiguration(CGDisplayConfigRef _Nullable* _Nullable configuration);
CGError CGConfigureDisplayOrigin(CGDisplayConfigRef _Nullable configuration, CGDirectDisplayID display,
                                 int32_t x, int32_t y);
CGError CGConfigureDisplayMirrorOfDisplay(CGDisplayConfigRef _Nullable configuration,
                                          CGDirectDisplayID display, CGDirectDisplayID main);
CGError CGCompleteDisplayConfiguration(CGDisplayConfigRef _Nullable configuration, CGConfigureOption option);
CGError CGCancelDisplayConfiguration(CGDisplayConfigRef _Nullable configuration);

// Events. Any thread.
CGEventRef _Nullable CGEventCreate(CGEventSourceRef _Nullable source);
CGEventRef _Nullable CGEventCreateMouseEvent(CGEventSourceRef _Nullable source, CGEventType type,
                                             CGPoint place, CGMouseButton button);
CGEventRef _Nullable CGEventCreateScrollWheelEvent2(CGEventSourceRef _Nullable source,
                                                    CGScrollEventUnit units, uint32_t wheelCount,
                                                    int32_t wheel1, int32_t wheel2, int32_t wheel3)
    CF_AVAILABLE_MAC(10.13);
CGPoint CGEventGetLocation(CGEventRef _Nullable event);
void CGEventSetIntegerValueField(CGEventRef _Nullable event, CGEventField field, int64_t value);
void CGEventPost(CGEventTapLocation tap, CGEventRef _Nullable event);

// Permission to see the screen.
bool CGPreflightScreenCaptureAccess(void) CF_AVAILABLE_MAC(10.15);
bool CGRequestScreenCaptureAccess(void) CF_AVAILABLE_MAC(10.15);

// Drawing. One thread at a time for each context.
CGColorSpaceRef _Nullable CGColorSpaceCreateDeviceRGB(void);
CGContextRef _Nullable CGBitmapContextCreate(void* _Nullable data, size_t width, size_t height,
                                             size_t bitsPerComponent, size_t bytesPerRow,
                                             CGColorSpaceRef _Nullable space, CGBitmapInfo bitmapInfo);
CGColorRef _Nullable CGColorCreateGenericRGB(CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha);
void CGContextSetFillColorWithColor(CGContextRef context, CGColorRef color);
void CGContextSetStrokeColorWithColor(CGContextRef context, CGColorRef color);
void CGContextSetLineWidth(CGContextRef context, CGFloat width);
void CGContextFillRect(CGContextRef context, CGRect rectangle);
void CGContextFillEllipseInRect(CGContextRef context, CGRect rectangle);
void CGContextStrokeRect(CGContextRef context, CGRect rectangle);

}  // extern "C"

#pragma clang assume_nonnull end
