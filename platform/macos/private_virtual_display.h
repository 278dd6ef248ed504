#pragma once

#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>
#import <dispatch/dispatch.h>

// The four classes of CoreGraphics that make virtual monitors. No public header declares them and no library
// exports them under a promise, so they are looked up by name at run time; these protocols say what we call,
// so that the compiler checks the calls. Whatever is not declared here is not used.

#pragma clang assume_nonnull begin

/// CGVirtualDisplayDescriptor: what the monitor is. Size in millimetres; the queue serves its callbacks.
@protocol QuillonDisplayDescriptor <NSObject>
@property(nonatomic, copy) NSString* name;
@property(nonatomic) unsigned int vendorID;
@property(nonatomic) unsigned int productID;
@property(nonatomic) unsigned int serialNum;
@property(nonatomic) unsigned int maxPixelsWide;
@property(nonatomic) unsigned int maxPixelsHigh;
@property(nonatomic) CGSize sizeInMillimeters;
@property(nonatomic, strong) dispatch_queue_t queue;
@end

/// CGVirtualDisplayMode: pixels, and hertz.
@protocol QuillonVirtualMode <NSObject>
- (nullable instancetype)initWithWidth:(unsigned int)width
                                height:(unsigned int)height
                           refreshRate:(double)refreshRate;
@end

/// CGVirtualDisplaySettings: what the monitor can show.
@protocol QuillonDisplaySettings <NSObject>
@property(nonatomic, copy) NSArray* modes;
@property(nonatomic) unsigned int hiDPI;
@end

/// CGVirtualDisplay: the monitor. It stands on the desktop as long as the object lives.
@protocol QuillonVirtualDisplay <NSObject>
@property(nonatomic, readonly) CGDirectDisplayID displayID;
- (nullable instancetype)initWithDescriptor:(id<QuillonDisplayDescriptor>)descriptor;
- (BOOL)applySettings:(id<QuillonDisplaySettings>)settings;
@end

#pragma clang assume_nonnull end
