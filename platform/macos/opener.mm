#include "platform/macos/opener.hpp"

#import <AppKit/AppKit.h>

#include "platform/macos/text.hpp"

namespace quillon {

bool MacOpener::openFile(const std::filesystem::path& file) {
    return [NSWorkspace.sharedWorkspace openURL:[NSURL fileURLWithPath:systemText(file.native())]];
}

bool MacOpener::openSettings(Pane pane) {
    NSString* const address =
        pane == Pane::screenRecording
            ? @"x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture"
            : @"x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";
    NSURL* const url = [NSURL URLWithString:address];
    return url != nil && [NSWorkspace.sharedWorkspace openURL:url];
}

}  // namespace quillon
