#pragma once

// Outline of ApplicationServices: Accessibility, as far as platform/macos/ calls it.

#include <CoreGraphics/CoreGraphics.h>
#include <sys/types.h>

typedef const struct __AXUIElement* AXUIElementRef;
typedef const struct __AXValue* AXValueRef;
typedef int32_t AXError;
enum : AXError { kAXErrorSuccess = 0 };
typedef enum : uint32_t { kAXValueTypeCGPoint = 1, kAXValueTypeCGSize = 2 } AXValueType;

extern "C" {

extern CFStringRef kAXTrustedCheckOptionPrompt;

Boolean AXIsProcessTrusted(void);
Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef options);

AXUIElementRef AXUIElementCreateApplication(pid_t process);
AXUIElementRef AXUIElementCreateSystemWide(void);
AXError AXUIElementSetMessagingTimeout(AXUIElementRef element, float seconds);
AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef* value);
AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef value);

CFTypeID AXValueGetTypeID(void);
AXValueRef AXValueCreate(AXValueType type, const void* value);
Boolean AXValueGetValue(AXValueRef value, AXValueType type, void* result);

}  // extern "C"
