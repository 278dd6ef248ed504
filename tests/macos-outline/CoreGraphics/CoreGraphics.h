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

typedef uint32_t CGDirectDisplayID;
typedef int32_t CGError;
enum : CGError { kCGErrorSuccess = 0 };
#define kCGNullDirectDisplay ((CGDirectDisplayID)0)
typedef int boolean_t;

typedef struct CGDisplayMode* CGDisplayModeRef;
typedef struct _CGDisplayConfigRef* CGDisplayConfigRef;
typedef enum : uint32_t { kCGConfigureForSession = 1 } CGConfigureOption;

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
enum CGBitmapInfo : uint32_t { kCGBitmapByteOrder32Little = 2u << 12 };

extern "C" {

// Displays. Any thread.
CGError CGGetActiveDisplayList(uint32_t capacity, CGDirectDisplayID* displays, uint32_t* count);
CGDirectDisplayID CGMainDisplayID(void);
CGRect CGDisplayBounds(CGDirectDisplayID display);
uint32_t CGDisplayVendorNumber(CGDirectDisplayID display);
uint32_t CGDisplayModelNumber(CGDirectDisplayID display);
boolean_t CGDisplayIsInMirrorSet(CGDirectDisplayID display);
CGDirectDisplayID CGDisplayMirrorsDisplay(CGDirectDisplayID display);

CFArrayRef CGDisplayCopyAllDisplayModes(CGDirectDisplayID display, CFDictionaryRef options);
CGDisplayModeRef CGDisplayCopyDisplayMode(CGDirectDisplayID display);
CGError CGDisplaySetDisplayMode(CGDirectDisplayID display, CGDisplayModeRef mode, CFDictionaryRef options);
size_t CGDisplayModeGetWidth(CGDisplayModeRef mode);
size_t CGDisplayModeGetHeight(CGDisplayModeRef mode);
size_t CGDisplayModeGetPixelWidth(CGDisplayModeRef mode);
size_t CGDisplayModeGetPixelHeight(CGDisplayModeRef mode);
int32_t CGDisplayModeGetIODisplayModeID(CGDisplayModeRef mode);

CGError CGBeginDisplayConfiguration(CGDisplayConfigRef* configuration);
CGError CGConfigureDisplayOrigin(CGDisplayConfigRef configuration, CGDirectDisplayID display, int32_t x,
                                 int32_t y);
CGError CGConfigureDisplayMirrorOfDisplay(CGDisplayConfigRef configuration, CGDirectDisplayID display,
                                          CGDirectDisplayID main);
CGError CGCompleteDisplayConfiguration(CGDisplayConfigRef configuration, CGConfigureOption option);
CGError CGCancelDisplayConfiguration(CGDisplayConfigRef configuration);

// Events. Any thread.
CGEventRef CGEventCreate(CGEventSourceRef source);
CGEventRef CGEventCreateMouseEvent(CGEventSourceRef source, CGEventType type, CGPoint place,
                                   CGMouseButton button);
CGEventRef CGEventCreateScrollWheelEvent2(CGEventSourceRef source, CGScrollEventUnit units,
                                          uint32_t wheelCount, int32_t wheel1, int32_t wheel2, int32_t wheel3)
    CF_AVAILABLE_MAC(10.13);
CGPoint CGEventGetLocation(CGEventRef event);
void CGEventSetIntegerValueField(CGEventRef event, CGEventField field, int64_t value);
void CGEventPost(CGEventTapLocation tap, CGEventRef event);

// Permission to see the screen.
bool CGPreflightScreenCaptureAccess(void) CF_AVAILABLE_MAC(10.15);
bool CGRequestScreenCaptureAccess(void) CF_AVAILABLE_MAC(10.15);

// Drawing. One thread at a time for each context.
CGColorSpaceRef CGColorSpaceCreateDeviceRGB(void);
CGContextRef CGBitmapContextCreate(void* data, size_t width, size_t height, size_t bitsPerComponent,
                                   size_t bytesPerRow, CGColorSpaceRef space, uint32_t bitmapInfo);
CGColorRef CGColorCreateGenericRGB(CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha);
void CGContextSetFillColorWithColor(CGContextRef context, CGColorRef color);
void CGContextSetStrokeColorWithColor(CGContextRef context, CGColorRef color);
void CGContextSetLineWidth(CGContextRef context, CGFloat width);
void CGContextFillRect(CGContextRef context, CGRect rectangle);
void CGContextFillEllipseInRect(CGContextRef context, CGRect rectangle);
void CGContextStrokeRect(CGContextRef context, CGRect rectangle);

}  // extern "C"
