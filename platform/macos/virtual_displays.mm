#include "platform/macos/virtual_displays.hpp"

#import <objc/runtime.h>

#include <algorithm>
#include <cstdlib>

#import "platform/macos/private_virtual_display.h"
#include "platform/macos/threads.hpp"

namespace quillon {

namespace {

/// Do objects of this class answer to all that we may call?
bool answers(Class type, Protocol* calls) {
    unsigned int count = 0;
    objc_method_description* const methods = protocol_copyMethodDescriptionList(calls, YES, YES, &count);
    const bool all = std::all_of(methods, methods + count, [type](const objc_method_description& each) {
        return [type instancesRespondToSelector:each.name];
    });
    std::free(methods);
    return all;
}

/// The system's classes, if it has them and they still answer to what we call.
struct Classes {
    Class descriptor = NSClassFromString(@"CGVirtualDisplayDescriptor");
    Class settings = NSClassFromString(@"CGVirtualDisplaySettings");
    Class mode = NSClassFromString(@"CGVirtualDisplayMode");
    Class display = NSClassFromString(@"CGVirtualDisplay");

    bool areKnown() const {
        return answers(descriptor, @protocol(QuillonDisplayDescriptor)) &&
               answers(settings, @protocol(QuillonDisplaySettings)) &&
               answers(mode, @protocol(QuillonVirtualMode)) &&
               answers(display, @protocol(QuillonVirtualDisplay));
    }
};

id<QuillonDisplayDescriptor> describe(const Classes& classes, const VirtualDisplayRequest& request) {
    const id<QuillonDisplayDescriptor> descriptor = [[classes.descriptor alloc] init];
    NSString* const name = [NSString stringWithUTF8String:request.name.c_str()];
    descriptor.name = name != nil ? name : @"Quillon";
    descriptor.vendorID = VirtualMonitor::kIdentity.vendor;
    descriptor.productID = VirtualMonitor::kIdentity.model;
    descriptor.serialNum = VirtualMonitor::kSerial;
    descriptor.maxPixelsWide = static_cast<unsigned int>(request.maxPixels.width);
    descriptor.maxPixelsHigh = static_cast<unsigned int>(request.maxPixels.height);
    descriptor.sizeInMillimeters =
        CGSize{VirtualMonitor::kWidthMillimetres, VirtualMonitor::kHeightMillimetres};
    descriptor.queue = makeLabelledQueue(".virtualdisplay", Priority::userInitiated);
    return descriptor;
}

id<QuillonDisplaySettings> settingsFor(const Classes& classes, const VirtualDisplayRequest& request) {
    NSMutableArray* const modes = [NSMutableArray new];
    for (const Size& size : request.modes) {
        const id<QuillonVirtualMode> mode = [static_cast<id<QuillonVirtualMode>>([classes.mode alloc])
            initWithWidth:static_cast<unsigned int>(size.width)
                   height:static_cast<unsigned int>(size.height)
              refreshRate:request.refreshRate];
        if (mode != nil) [modes addObject:mode];
    }
    const id<QuillonDisplaySettings> settings = [[classes.settings alloc] init];
    settings.modes = modes;
    settings.hiDPI = request.hiDPI ? 1 : 0;
    return settings;
}

using Monitor = id<QuillonVirtualDisplay>;

/// Holds the one reference to the system's monitor.
class MacVirtualDisplay : public VirtualDisplay {
  public:
    explicit MacVirtualDisplay(Monitor monitor) : monitor_(monitor) {}
    ~MacVirtualDisplay() override {
        // What the system releases along with the monitor goes at once, not at the end of a caller's pool.
        @autoreleasepool {
            monitor_ = nil;
        }
    }
    MacVirtualDisplay(const MacVirtualDisplay&) = delete;
    MacVirtualDisplay& operator=(const MacVirtualDisplay&) = delete;

    DisplayID id() const override { return monitor_.displayID; }

  private:
    Monitor monitor_;
};

}  // namespace

std::unique_ptr<VirtualDisplay> MacVirtualDisplays::create(const VirtualDisplayRequest& request) {
    @autoreleasepool {
        const Classes classes;
        if (!classes.areKnown()) return nullptr;
        const id<QuillonDisplayDescriptor> descriptor = describe(classes, request);
        if (descriptor == nil) return nullptr;
        const Monitor monitor = [static_cast<Monitor>([classes.display alloc]) initWithDescriptor:descriptor];
        if (monitor == nil || ![monitor applySettings:settingsFor(classes, request)]) return nullptr;
        return std::make_unique<MacVirtualDisplay>(monitor);
    }
}

std::unique_ptr<VirtualDisplays> makeVirtualDisplays() {
    return std::make_unique<MacVirtualDisplays>();
}

}  // namespace quillon
