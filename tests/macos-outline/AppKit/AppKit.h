#pragma once

// Outline of AppKit: the declarations that platform/macos/ calls. Main thread unless a line says otherwise.

#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>
#include <sys/types.h>

#pragma clang assume_nonnull begin

typedef NSString* NSAttributedStringKey;
extern "C" NSAttributedStringKey const NSFontAttributeName;
extern "C" NSAttributedStringKey const NSForegroundColorAttributeName;

typedef CGFloat NSFontWeight;
extern "C" const NSFontWeight NSFontWeightMedium;
extern "C" const NSFontWeight NSFontWeightBold;

@interface NSFont : NSObject
+ (NSFont*)monospacedDigitSystemFontOfSize:(CGFloat)size weight:(NSFontWeight)weight;
@end

@interface NSColor : NSObject
+ (NSColor*)colorWithCalibratedRed:(CGFloat)red green:(CGFloat)green blue:(CGFloat)blue alpha:(CGFloat)alpha;
@end

// Any thread, each context one at a time.
@interface NSGraphicsContext : NSObject
@property(class, nullable, strong) NSGraphicsContext* currentContext;
+ (NSGraphicsContext*)graphicsContextWithCGContext:(CGContextRef)context flipped:(BOOL)flipped;
+ (void)saveGraphicsState;
+ (void)restoreGraphicsState;
@end

typedef enum : NSInteger {
    NSApplicationActivationPolicyRegular = 0,
    NSApplicationActivationPolicyAccessory = 1,
    NSApplicationActivationPolicyProhibited = 2,
} NSApplicationActivationPolicy;

@interface NSRunningApplication : NSObject
@property(readonly) NSApplicationActivationPolicy activationPolicy;
@property(readonly) pid_t processIdentifier;
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
@property(readonly, copy) NSArray<NSRunningApplication*>* runningApplications;
- (BOOL)openURL:(NSURL*)url;
@end

#pragma clang assume_nonnull end
