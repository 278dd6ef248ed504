#include "platform/macos/permissions.hpp"

#import <ApplicationServices/ApplicationServices.h>
#import <Foundation/Foundation.h>

namespace quillon {

bool MacPermissions::canCaptureScreen() {
    return CGPreflightScreenCaptureAccess();
}

bool MacPermissions::requestScreenCapture() {
    return CGRequestScreenCaptureAccess();
}

bool MacPermissions::isTrustedForControl() {
    return AXIsProcessTrusted() != 0;
}

void MacPermissions::requestControl() {
    NSDictionary* const options = @{(__bridge NSString*)kAXTrustedCheckOptionPrompt : @YES};
    AXIsProcessTrustedWithOptions((__bridge CFDictionaryRef)options);
}

}  // namespace quillon
