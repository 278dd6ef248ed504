#pragma once

// Outline of IOKit's power management: the declarations that platform/macos/ calls. Any thread.

#include <CoreFoundation/CoreFoundation.h>

typedef int IOReturn;
#define kIOReturnSuccess 0
typedef uint32_t IOPMAssertionID;
typedef uint32_t IOPMAssertionLevel;
enum { kIOPMAssertionLevelOn = 255 };

extern "C" {

// None of the three may be null, although the system's header does not say so.
IOReturn IOPMAssertionCreateWithName(CFStringRef type, IOPMAssertionLevel level, CFStringRef name,
                                     IOPMAssertionID* assertion);
IOReturn IOPMAssertionRelease(IOPMAssertionID assertion);

}  // extern "C"
