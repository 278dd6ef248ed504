#pragma once

// Outline of AppKit: the declarations that platform/macos/ calls. Main thread unless a line says otherwise.

#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>
#include <sys/types.h>

#pragma clang assume_nonnull begin

// --- text and drawing; any thread, each context one at a time

typedef NSString* NSAttributedStringKey;
typedef CGFloat NSFontWeight;

extern "C" {
extern NSAttributedStringKey const NSFontAttributeName;
extern NSAttributedStringKey const NSForegroundColorAttributeName;
extern const NSFontWeight NSFontWeightMedium;
extern const NSFontWeight NSFontWeightBold;
}

@interface NSString (Drawing)
- (void)drawAtPoint:(NSPoint)point
     withAttributes:(nullable NSDictionary<NSAttributedStringKey, id>*)attributes;
@end

@interface NSFont : NSObject
@property(class, readonly) CGFloat systemFontSize;
+ (NSFont*)systemFontOfSize:(CGFloat)size;
+ (NSFont*)boldSystemFontOfSize:(CGFloat)size;
+ (NSFont*)monospacedDigitSystemFontOfSize:(CGFloat)size weight:(NSFontWeight)weight;
@end

@interface NSColor : NSObject
@property(class, readonly, strong) NSColor* labelColor;
@property(class, readonly, strong) NSColor* secondaryLabelColor;
@property(class, readonly, strong) NSColor* controlAccentColor API_AVAILABLE_MACOS(10.14);
@property(class, readonly, strong) NSColor* systemGrayColor;
@property(class, readonly, strong) NSColor* systemYellowColor;
@property(class, readonly, strong) NSColor* systemGreenColor;
@property(class, readonly, strong) NSColor* systemBlueColor;
@property(class, readonly, strong) NSColor* systemRedColor;
+ (NSColor*)colorWithCalibratedRed:(CGFloat)red green:(CGFloat)green blue:(CGFloat)blue alpha:(CGFloat)alpha;
@end

@interface NSGraphicsContext : NSObject
@property(class, nullable, strong) NSGraphicsContext* currentContext;
+ (NSGraphicsContext*)graphicsContextWithCGContext:(CGContextRef)context flipped:(BOOL)flipped;
+ (void)saveGraphicsState;
+ (void)restoreGraphicsState;
@end

@interface NSImage : NSObject
- (void)setTemplate:(BOOL)isTemplate;
+ (nullable instancetype)imageWithSystemSymbolName:(NSString*)name
                          accessibilityDescription:(nullable NSString*)description API_AVAILABLE_MACOS(11.0);
@end

// --- the application and others

typedef enum : NSInteger {
    NSApplicationActivationPolicyRegular = 0,
    NSApplicationActivationPolicyAccessory = 1,
} NSApplicationActivationPolicy;
typedef NSInteger NSModalResponse;
enum : NSModalResponse { NSAlertFirstButtonReturn = 1000 };

@class NSApplication;
@class NSWindow;

@protocol NSApplicationDelegate <NSObject>
@optional
- (void)applicationDidFinishLaunching:(NSNotification*)notification;
- (void)applicationDidBecomeActive:(NSNotification*)notification;
- (void)applicationWillTerminate:(NSNotification*)notification;
- (BOOL)applicationShouldHandleReopen:(NSApplication*)sender hasVisibleWindows:(BOOL)hasVisibleWindows;
@end

@interface NSResponder : NSObject
@end

typedef enum : NSUInteger { NSEventTypeApplicationDefined = 15 } NSEventType;
typedef NSUInteger NSEventModifierFlags;

@interface NSEvent : NSObject
+ (nullable NSEvent*)otherEventWithType:(NSEventType)type
                               location:(NSPoint)location
                          modifierFlags:(NSEventModifierFlags)flags
                              timestamp:(NSTimeInterval)time
                           windowNumber:(NSInteger)window
                                context:(nullable NSGraphicsContext*)unused
                                subtype:(short)subtype
                                  data1:(NSInteger)first
                                  data2:(NSInteger)second;
@end

@interface NSApplication : NSResponder
@property(class, readonly, strong) __kindof NSApplication* sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
@property(nullable, readonly, strong) NSWindow* modalWindow;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy;
- (void)activate API_AVAILABLE_MACOS(14.0);
- (void)run;
- (void)stop:(nullable id)sender;
- (void)postEvent:(NSEvent*)event atStart:(BOOL)atStart;
@end

extern "C" __kindof NSApplication* _Null_unspecified NSApp;

// Any thread.
@interface NSRunningApplication : NSObject
@property(readonly) NSApplicationActivationPolicy activationPolicy;
@property(readonly) pid_t processIdentifier;
@property(nullable, readonly, copy) NSURL* bundleURL;
+ (NSArray<NSRunningApplication*>*)runningApplicationsWithBundleIdentifier:(NSString*)identifier;
@end

// Any thread.
@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
@property(readonly, copy) NSArray<NSRunningApplication*>* runningApplications;
- (BOOL)openURL:(NSURL*)url;
@end

// --- views and layout

typedef NSString* NSUserInterfaceItemIdentifier;
typedef float NSLayoutPriority;
typedef enum : NSInteger { NSLayoutConstraintOrientationHorizontal = 0 } NSLayoutConstraintOrientation;
typedef enum : NSInteger { NSUserInterfaceLayoutOrientationVertical = 1 } NSUserInterfaceLayoutOrientation;
typedef enum : NSInteger { NSLayoutAttributeLeading = 5 } NSLayoutAttribute;
typedef struct NSEdgeInsets {
    CGFloat top;
    CGFloat left;
    CGFloat bottom;
    CGFloat right;
} NSEdgeInsets;
inline NSEdgeInsets NSEdgeInsetsMake(CGFloat top, CGFloat left, CGFloat bottom, CGFloat right) {
    return {top, left, bottom, right};
}
enum NSRectEdge : NSUInteger { NSRectEdgeMinY = 1 };

@interface NSLayoutConstraint : NSObject
@property(getter=isActive) BOOL active;
@end

@interface NSLayoutAnchor : NSObject
@end

@interface NSLayoutDimension : NSLayoutAnchor
- (NSLayoutConstraint*)constraintEqualToConstant:(CGFloat)constant;
- (NSLayoutConstraint*)constraintLessThanOrEqualToConstant:(CGFloat)constant;
@end

@class NSView;

@interface NSWindow : NSResponder
@property(nullable, readonly, weak) NSResponder* firstResponder;
@property(nullable, weak) NSView* initialFirstResponder;
- (BOOL)makeFirstResponder:(nullable NSResponder*)responder;
- (void)makeKeyWindow;
- (void)makeKeyAndOrderFront:(nullable id)sender;
@end

@interface NSView : NSResponder
@property(nullable, readonly, unsafe_unretained) NSWindow* window;
@property(copy) NSArray<NSView*>* subviews;
@property NSRect bounds;
@property(readonly) NSSize fittingSize;
@property(readonly, strong) NSLayoutDimension* widthAnchor;
@property(nullable, copy) NSString* toolTip;
@property(nullable, copy) NSUserInterfaceItemIdentifier identifier;
@property(nullable, copy) NSString* accessibilityLabel;
@property(nullable, strong) id accessibilityValue;
- (instancetype)initWithFrame:(NSRect)frame NS_DESIGNATED_INITIALIZER;
- (void)removeFromSuperview;
- (void)setContentHuggingPriority:(NSLayoutPriority)priority
                   forOrientation:(NSLayoutConstraintOrientation)orientation;
@end

@interface NSStackView : NSView
@property NSUserInterfaceLayoutOrientation orientation;
@property NSLayoutAttribute alignment;
@property CGFloat spacing;
@property NSEdgeInsets edgeInsets;
@property(readonly, copy) NSArray<NSView*>* arrangedSubviews;
+ (instancetype)stackViewWithViews:(NSArray<NSView*>*)views;
- (void)addArrangedSubview:(NSView*)view;
@end

// --- controls

typedef NSInteger NSControlStateValue;
extern "C" const NSControlStateValue NSControlStateValueOn;
extern "C" const NSControlStateValue NSControlStateValueOff;
typedef enum : NSUInteger {
    NSBezelStylePush = 1,
    NSBezelStyleFlexiblePush = 2,
} NSBezelStyle;
typedef enum : NSInteger { NSSegmentDistributionFillEqually = 2 } NSSegmentDistribution;

@interface NSControl : NSView
@property(nullable, weak) id target;
@property(nullable) SEL action;
@property NSInteger tag;
@property(copy) NSString* stringValue;
@property(nullable, strong) NSFont* font;
@end

@interface NSTextField : NSControl
@property(nullable, copy) NSString* placeholderString;
@property(nullable, copy) NSColor* textColor;
@property CGFloat preferredMaxLayoutWidth;
+ (instancetype)labelWithString:(NSString*)text;
+ (instancetype)wrappingLabelWithString:(NSString*)text;
@end

@interface NSButton : NSControl
@property(copy) NSString* title;
@property(nullable, strong) NSImage* image;
@property NSBezelStyle bezelStyle;
@property(nullable, copy) NSColor* bezelColor;
+ (instancetype)buttonWithTitle:(NSString*)title target:(nullable id)target action:(nullable SEL)action;
@end

@interface NSSwitch : NSControl
@property NSControlStateValue state;
@end

@interface NSSegmentedControl : NSControl
@property NSInteger segmentCount;
@property NSInteger selectedSegment;
@property NSSegmentDistribution segmentDistribution;
- (void)setLabel:(NSString*)label forSegment:(NSInteger)segment;
- (void)setToolTip:(nullable NSString*)toolTip forSegment:(NSInteger)segment;
@end

@interface NSImageView : NSControl
+ (instancetype)imageViewWithImage:(NSImage*)image;
@end

// --- menus and the menu bar

@class NSMenu;

@protocol NSMenuDelegate <NSObject>
@optional
- (void)menuNeedsUpdate:(NSMenu*)menu;
- (void)menuWillOpen:(NSMenu*)menu;
- (void)menuDidClose:(NSMenu*)menu;
@end

@interface NSMenuItem : NSObject
@property(nullable, strong) NSMenu* submenu;
@property(nullable, weak) id target;
@property(nullable) SEL action;
@property NSInteger tag;
@property NSControlStateValue state;
@property(getter=isEnabled) BOOL enabled;
@property(nullable, copy) NSString* toolTip;
+ (NSMenuItem*)separatorItem;
- (instancetype)initWithTitle:(NSString*)title
                       action:(nullable SEL)action
                keyEquivalent:(NSString*)key NS_DESIGNATED_INITIALIZER;
@end

@interface NSMenu : NSObject
@property(nullable, weak) id<NSMenuDelegate> delegate;
@property BOOL autoenablesItems;
- (void)addItem:(NSMenuItem*)item;
- (void)removeAllItems;
- (void)cancelTracking;
@end

extern "C" const CGFloat NSVariableStatusItemLength;

@interface NSStatusBarButton : NSButton
@end

@interface NSStatusItem : NSObject
@property(nullable, readonly, strong) NSStatusBarButton* button;
@property(nullable, strong) NSMenu* menu;
@end

@interface NSStatusBar : NSObject
@property(class, readonly, strong) NSStatusBar* systemStatusBar;
- (NSStatusItem*)statusItemWithLength:(CGFloat)length;
- (void)removeStatusItem:(NSStatusItem*)item;
@end

// --- the popover and alerts

@protocol NSPopoverDelegate <NSObject>
@optional
- (void)popoverDidClose:(NSNotification*)notification;
@end

typedef enum : NSInteger { NSPopoverBehaviorTransient = 1 } NSPopoverBehavior;

@interface NSViewController : NSResponder
@property(strong) NSView* view;
@end

@interface NSPopover : NSResponder
@property(nullable, weak) id<NSPopoverDelegate> delegate;
@property(nullable, strong) NSViewController* contentViewController;
@property NSPopoverBehavior behavior;
@property NSSize contentSize;
@property(readonly, getter=isShown) BOOL shown;
- (void)showRelativeToRect:(NSRect)place ofView:(NSView*)view preferredEdge:(NSRectEdge)edge;
- (void)close;
@end

@interface NSAlert : NSObject
@property(copy) NSString* messageText;
@property(copy) NSString* informativeText;
@property(nullable, strong) NSView* accessoryView;
@property(readonly, strong) NSWindow* window;
- (NSButton*)addButtonWithTitle:(NSString*)title;
- (NSModalResponse)runModal;
@end

#pragma clang assume_nonnull end
