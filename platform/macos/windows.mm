#include "platform/macos/windows.hpp"

#import <AppKit/AppKit.h>

#include <optional>
#include <utility>

namespace quillon {

namespace {

/// A program that hangs must not hold up the rest; the system's own limit is six seconds for each question.
constexpr float kAnswerLimit = 1.0F;  // seconds

/// Null when the element has no such attribute, or its program does not answer.
Owned<CFTypeRef> attribute(AXUIElementRef element, NSString* name) {
    CFTypeRef value = nullptr;
    const AXError error = AXUIElementCopyAttributeValue(element, (__bridge CFStringRef)name, &value);
    return Owned<CFTypeRef>(error == kAXErrorSuccess ? value : nullptr);
}

/// An attribute that is a point or a size.
template <typename Value>
std::optional<Value> geometry(AXUIElementRef element, NSString* name, AXValueType type) {
    const Owned<CFTypeRef> boxed = attribute(element, name);
    if (!boxed || CFGetTypeID(boxed.get()) != AXValueGetTypeID()) return std::nullopt;
    Value value{};
    if (AXValueGetValue(static_cast<AXValueRef>(boxed.get()), type, &value) == 0) return std::nullopt;
    return value;
}

/// An application's windows; none when it keeps them to itself.
std::vector<Owned<AXUIElementRef>> windowsOf(pid_t process) {
    const Owned<AXUIElementRef> application(AXUIElementCreateApplication(process));
    if (!application) return {};
    const Owned<CFTypeRef> list = attribute(application.get(), @"AXWindows");
    if (!list || CFGetTypeID(list.get()) != CFArrayGetTypeID()) return {};
    const auto array = static_cast<CFArrayRef>(list.get());
    std::vector<Owned<AXUIElementRef>> windows;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
        windows.push_back(retained(static_cast<AXUIElementRef>(CFArrayGetValueAtIndex(array, i))));
    }
    return windows;
}

}  // namespace

std::vector<Windows::Window> MacWindows::all() {
    windows_.clear();
    // Said of the whole system it holds for all questions of this process.
    const Owned<AXUIElementRef> everything(AXUIElementCreateSystemWide());
    AXUIElementSetMessagingTimeout(everything.get(), kAnswerLimit);
    std::vector<Window> found;
    @autoreleasepool {
        for (NSRunningApplication* each in NSWorkspace.sharedWorkspace.runningApplications) {
            if (each.activationPolicy != NSApplicationActivationPolicyRegular) continue;
            for (Owned<AXUIElementRef>& window : windowsOf(each.processIdentifier)) {
                const auto place = geometry<CGPoint>(window.get(), @"AXPosition", kAXValueTypeCGPoint);
                const auto size = geometry<CGSize>(window.get(), @"AXSize", kAXValueTypeCGSize);
                if (!place || !size) continue;
                found.push_back({windows_.size(), {place->x, place->y, size->width, size->height}});
                windows_.push_back(std::move(window));
            }
        }
    }
    return found;
}

bool MacWindows::move(uint64_t id, Point origin) {
    if (id >= windows_.size()) return false;
    const CGPoint place = CGPointMake(origin.x, origin.y);
    const Owned<AXValueRef> value(AXValueCreate(kAXValueTypeCGPoint, &place));
    if (!value) return false;
    return AXUIElementSetAttributeValue(windows_[id].get(), (__bridge CFStringRef) @"AXPosition",
                                        value.get()) == kAXErrorSuccess;
}

}  // namespace quillon
