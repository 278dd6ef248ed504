// expected: no matching function for call to 'CGDisplaySetDisplayMode'
#import <CoreGraphics/CoreGraphics.h>

CGError choose(CGDirectDisplayID display, CFArrayRef modes) {
    return CGDisplaySetDisplayMode(display, modes, nullptr);
}
