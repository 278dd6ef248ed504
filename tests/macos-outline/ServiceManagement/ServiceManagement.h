#pragma once

// Outline of ServiceManagement: the application as a login item. Any thread.

#import <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

typedef enum : NSInteger {
    SMAppServiceStatusNotRegistered = 0,
    SMAppServiceStatusEnabled = 1,
    SMAppServiceStatusRequiresApproval = 2,
    SMAppServiceStatusNotFound = 3,
} SMAppServiceStatus;

API_AVAILABLE_MACOS(13.0)
@interface SMAppService : NSObject
@property(class, readonly) SMAppService* mainAppService;
@property(readonly) SMAppServiceStatus status;
- (BOOL)registerAndReturnError:(NSError* _Nullable __autoreleasing* _Nullable)error;
- (BOOL)unregisterAndReturnError:(NSError* _Nullable __autoreleasing* _Nullable)error;
@end

#pragma clang assume_nonnull end
