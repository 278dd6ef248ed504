#pragma once

// Outline of ApplicationServices: Accessibility, as far as platform/macos/ calls it.

#include <CoreGraphics/CoreGraphics.h>
#include <sys/types.h>

#pragma clang assume_nonnull begin

typedef const struct __AXUIElement* AXUIElementRef;
typedef const struct __AXValue* AXValueRef;
typedef enum : SInt32 { kAXErrorSuccess = 0 } AXError;
typedef enum : UInt32 { kAXValueTypeCGPoint = 1, kAXValueTypeCGSize = 2 } AXValueType;

extern "C" {

extern const CFStringRef kAXTrustedCheckOptionPrompt;

Boolean AXIsProcessTrusted(void);
Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef _Nullable options);

AXUIElementRef AXUIElementCreateApplication(pid_t process);
AXUIElementRef AXUIElementCreateSystemWide(void);
AXError AXUIElementSetMessagingTimeout(AXUIElementRef element, float seconds);
AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                      CFTypeRef _Nullable* value);
AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef value);

CFTypeID AXValueGetTypeID(void);
AXValueRef _Nullable AXValueCreate(AXValueType type, const void* value);
Boolean AXValueGetValue(AXValueRef value, AXValueType type, void* result);

}  // extern "C"

#pragma clang assume_nonnull end
