#pragma once

// Outline of ScreenCaptureKit: the declarations that platform/macos/ calls.

#import <CoreGraphics/CoreGraphics.h>
#import <CoreMedia/CoreMedia.h>
#import <Foundation/Foundation.h>
#import <dispatch/dispatch.h>

#pragma clang assume_nonnull begin

@class SCStream;
@class SCWindow;

API_AVAILABLE_MACOS(12.3)
@interface SCDisplay : NSObject
@property(readonly) CGDirectDisplayID displayID;
@property(readonly) NSInteger width;
@property(readonly) NSInteger height;
@end

API_AVAILABLE_MACOS(12.3)
@interface SCShareableContent : NSObject
@property(readonly) NSArray<SCDisplay*>* displays;
+ (void)getShareableContentExcludingDesktopWindows:(BOOL)excludesDesktopWindows
                               onScreenWindowsOnly:(BOOL)onScreenWindowsOnly
                                 completionHandler:(void (^)(SCShareableContent* _Nullable content,
                                                             NSError* _Nullable error))handler;
@end

API_AVAILABLE_MACOS(12.3)
@interface SCContentFilter : NSObject
- (instancetype)initWithDisplay:(SCDisplay*)display excludingWindows:(NSArray<SCWindow*>*)windows;
@end

API_AVAILABLE_MACOS(12.3)
@interface SCStreamConfiguration : NSObject
@property(nonatomic, assign) size_t width;
@property(nonatomic, assign) size_t height;
@property(nonatomic, assign) CMTime minimumFrameInterval;
@property(nonatomic, assign) OSType pixelFormat;
@property(nonatomic, assign) BOOL scalesToFit;
@property(nonatomic, assign) BOOL preservesAspectRatio API_AVAILABLE_MACOS(14.0);
@property(nonatomic, assign) BOOL showsCursor;
@property(nonatomic, assign) CGRect sourceRect;
@property(nonatomic, assign) NSInteger queueDepth;
@property(nonatomic, assign) BOOL capturesAudio API_AVAILABLE_MACOS(13.0);
@end

typedef enum : NSInteger { SCStreamOutputTypeScreen = 0 } SCStreamOutputType;
typedef enum : NSInteger {
    SCFrameStatusComplete = 0,
    SCFrameStatusStopped = 5,
} SCFrameStatus;
typedef NSString* SCStreamFrameInfo;
extern "C" SCStreamFrameInfo const SCStreamFrameInfoStatus;

API_AVAILABLE_MACOS(12.3)
@protocol SCStreamOutput <NSObject>
@optional
- (void)stream:(SCStream*)stream
    didOutputSampleBuffer:(CMSampleBufferRef)sample
                   ofType:(SCStreamOutputType)type;
@end

@protocol SCStreamDelegate;

API_AVAILABLE_MACOS(12.3)
@interface SCStream : NSObject
- (instancetype)initWithFilter:(SCContentFilter*)filter
                 configuration:(SCStreamConfiguration*)configuration
                      delegate:(nullable id<SCStreamDelegate>)delegate;
- (BOOL)addStreamOutput:(id<SCStreamOutput>)output
                   type:(SCStreamOutputType)type
     sampleHandlerQueue:(nullable dispatch_queue_t)queue
                  error:(NSError* _Nullable __autoreleasing* _Nullable)error;
- (void)startCaptureWithCompletionHandler:(nullable void (^)(NSError* _Nullable error))handler;
- (void)stopCaptureWithCompletionHandler:(nullable void (^)(NSError* _Nullable error))handler;
@end

#pragma clang assume_nonnull end
