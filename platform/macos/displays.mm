#include "platform/macos/displays.hpp"

#include <CoreGraphics/CoreGraphics.h>

#include "platform/macos/owned.hpp"

namespace quillon {

namespace {

DisplayMode describe(CGDisplayModeRef mode) {
    return {static_cast<int>(CGDisplayModeGetWidth(mode)), static_cast<int>(CGDisplayModeGetHeight(mode)),
            static_cast<int>(CGDisplayModeGetPixelWidth(mode)),
            static_cast<int>(CGDisplayModeGetPixelHeight(mode)),
            static_cast<uint32_t>(CGDisplayModeGetIODisplayModeID(mode))};
}

/// Calls `visit` with each mode in the system's order until it answers true; whether it did.
template <typename Visit>
bool visitModes(DisplayID display, Visit visit) {
    const Owned<CFArrayRef> modes(CGDisplayCopyAllDisplayModes(display, nullptr));
    if (!modes) return false;
    for (CFIndex i = 0; i < CFArrayGetCount(modes.get()); ++i) {
        const void* const mode = CFArrayGetValueAtIndex(modes.get(), i);
        if (visit(static_cast<CGDisplayModeRef>(const_cast<void*>(mode)))) return true;
    }
    return false;
}

/// One change of the arrangement for this login session, whole or not at all.
template <typename Change>
bool configure(Change change) {
    CGDisplayConfigRef configuration = nullptr;
    if (CGBeginDisplayConfiguration(&configuration) != kCGErrorSuccess) return false;
    if (change(configuration) != kCGErrorSuccess) {
        CGCancelDisplayConfiguration(configuration);
        return false;
    }
    return CGCompleteDisplayConfiguration(configuration, kCGConfigureForSession) == kCGErrorSuccess;
}

}  // namespace

std::vector<DisplayID> MacDisplays::active() {
    uint32_t count = 0;
    if (CGGetActiveDisplayList(0, nullptr, &count) != kCGErrorSuccess) return {};
    std::vector<DisplayID> displays(count);
    if (CGGetActiveDisplayList(count, displays.data(), &count) != kCGErrorSuccess) return {};
    displays.resize(count);  // one may have gone between the two calls
    return displays;
}

DisplayID MacDisplays::main() {
    return CGMainDisplayID();
}

Rect MacDisplays::bounds(DisplayID display) {
    const CGRect bounds = CGDisplayBounds(display);
    return {bounds.origin.x, bounds.origin.y, bounds.size.width, bounds.size.height};
}

Displays::Identity MacDisplays::identity(DisplayID display) {
    return {CGDisplayVendorNumber(display), CGDisplayModelNumber(display)};
}

std::vector<DisplayMode> MacDisplays::modes(DisplayID display) {
    std::vector<DisplayMode> modes;
    visitModes(display, [&](CGDisplayModeRef mode) {
        modes.push_back(describe(mode));
        return false;
    });
    return modes;
}

std::optional<DisplayMode> MacDisplays::currentMode(DisplayID display) {
    const Owned<CGDisplayModeRef> mode(CGDisplayCopyDisplayMode(display));
    if (!mode) return std::nullopt;
    return describe(mode.get());
}

bool MacDisplays::setMode(DisplayID display, const DisplayMode& mode) {
    return visitModes(display, [&](CGDisplayModeRef each) {
        return describe(each) == mode && CGDisplaySetDisplayMode(display, each, nullptr) == kCGErrorSuccess;
    });
}

Displays::Mirroring MacDisplays::mirroring(DisplayID display) {
    return {CGDisplayIsInMirrorSet(display) != 0, CGDisplayMirrorsDisplay(display)};
}

bool MacDisplays::stopMirroring(DisplayID display) {
    return configure([=](CGDisplayConfigRef configuration) {
        return CGConfigureDisplayMirrorOfDisplay(configuration, display, kCGNullDirectDisplay);
    });
}

bool MacDisplays::setOrigin(DisplayID display, int x, int y) {
    return configure([=](CGDisplayConfigRef configuration) {
        return CGConfigureDisplayOrigin(configuration, display, x, y);
    });
}

}  // namespace quillon
