#include "platform/macos/pv_virtual_display.h"

#include <span>
#include <vector>

#import "platform/macos/private_virtual_display.h"
#include "platform/macos/threads.hpp"

namespace {

// How a monitor of ours is known again, by any process.
constexpr unsigned int kVendor = 1452;
constexpr unsigned int kModel = 4096;
constexpr unsigned int kSerial = 1;
constexpr CGSize kMillimetres{160.5, 120.4};

struct PixelSize {
    uint32_t width;
    uint32_t height;
};

/// What the monitor is asked to be besides its modes.
struct Wish {
    bool hiDPI;
    uint32_t maxPixelsWide;
    uint32_t maxPixelsHigh;
    const char* name;
    double refreshRate;
};

/// The system's classes, if it has them and they still answer to what we call.
struct Classes {
    Class descriptor = NSClassFromString(@"CGVirtualDisplayDescriptor");
    Class settings = NSClassFromString(@"CGVirtualDisplaySettings");
    Class mode = NSClassFromString(@"CGVirtualDisplayMode");
    Class display = NSClassFromString(@"CGVirtualDisplay");

    bool areKnown() const {
        return [descriptor instancesRespondToSelector:@selector(setQueue:)] &&
               [settings instancesRespondToSelector:@selector(setModes:)] &&
               [mode instancesRespondToSelector:@selector(initWithWidth:height:refreshRate:)] &&
               [display instancesRespondToSelector:@selector(initWithDescriptor:)] &&
               [display instancesRespondToSelector:@selector(applySettings:)];
    }
};

id<QuillonDisplayDescriptor> describe(const Classes& classes, const Wish& wish) {
    const id<QuillonDisplayDescriptor> descriptor = [[classes.descriptor alloc] init];
    NSString* const name = wish.name != nullptr ? [NSString stringWithUTF8String:wish.name] : nil;
    descriptor.name = name != nil ? name : @"Quillon";
    descriptor.vendorID = kVendor;
    descriptor.productID = kModel;
    descriptor.serialNum = kSerial;
    descriptor.maxPixelsWide = wish.maxPixelsWide;
    descriptor.maxPixelsHigh = wish.maxPixelsHigh;
    descriptor.sizeInMillimeters = kMillimetres;
    descriptor.queue = quillon::makeLabelledQueue(".virtualdisplay", quillon::Priority::userInitiated);
    return descriptor;
}

id<QuillonDisplaySettings> settingsFor(const Classes& classes, std::span<const PixelSize> sizes,
                                       const Wish& wish) {
    NSMutableArray* const modes = [NSMutableArray new];
    for (const PixelSize& size : sizes) {
        const id<QuillonVirtualMode> mode =
            [static_cast<id<QuillonVirtualMode>>([classes.mode alloc]) initWithWidth:size.width
                                                                              height:size.height
                                                                         refreshRate:wish.refreshRate];
        if (mode != nil) [modes addObject:mode];
    }
    const id<QuillonDisplaySettings> settings = [[classes.settings alloc] init];
    settings.modes = modes;
    settings.hiDPI = wish.hiDPI ? 1 : 0;
    return settings;
}

void* create(std::span<const PixelSize> sizes, const Wish& wish) {
    @autoreleasepool {
        const Classes classes;
        if (!classes.areKnown() || sizes.empty()) return nullptr;
        const id<QuillonDisplayDescriptor> descriptor = describe(classes, wish);
        if (descriptor == nil) return nullptr;
        const id<QuillonVirtualDisplay> display =
            [static_cast<id<QuillonVirtualDisplay>>([classes.display alloc]) initWithDescriptor:descriptor];
        if (display == nil || ![display applySettings:settingsFor(classes, sizes, wish)]) return nullptr;
        return const_cast<void*>(CFBridgingRetain(display));
    }
}

}  // namespace

void* pv_virtual_display_create(uint32_t width, uint32_t height, int hiDPI, uint32_t maxPixelsWide,
                                uint32_t maxPixelsHigh, const char* name, double refreshRate) {
    return pv_virtual_display_create_modes(width, height, 0, 0, hiDPI, maxPixelsWide, maxPixelsHigh, name,
                                           refreshRate);
}

void* pv_virtual_display_create_modes(uint32_t width, uint32_t height, uint32_t secondWidth,
                                      uint32_t secondHeight, int hiDPI, uint32_t maxPixelsWide,
                                      uint32_t maxPixelsHigh, const char* name, double refreshRate) {
    const PixelSize sizes[] = {{width, height}, {secondWidth, secondHeight}};
    const size_t count = secondWidth != 0 && secondHeight != 0 ? 2 : 1;
    return create(std::span(sizes, count), {hiDPI != 0, maxPixelsWide, maxPixelsHigh, name, refreshRate});
}

void* pv_virtual_display_create_sizes(const uint32_t* widths, const uint32_t* heights, int count, int hiDPI,
                                      uint32_t maxPixelsWide, uint32_t maxPixelsHigh, const char* name,
                                      double refreshRate) {
    std::vector<PixelSize> sizes;
    for (int i = 0; i < count; ++i) sizes.push_back({widths[i], heights[i]});
    return create(sizes, {hiDPI != 0, maxPixelsWide, maxPixelsHigh, name, refreshRate});
}

uint32_t pv_virtual_display_id(void* handle) {
    const id<QuillonVirtualDisplay> display = (__bridge id)handle;
    return [display respondsToSelector:@selector(displayID)] ? display.displayID : 0;
}

void pv_virtual_display_destroy(void* handle) {
    @autoreleasepool {
        CFBridgingRelease(handle);
    }
}
