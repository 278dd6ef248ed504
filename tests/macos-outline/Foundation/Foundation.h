#pragma once

// Outline of Foundation and of the Objective-C runtime: the declarations that platform/macos/ calls.

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>
#include <stdint.h>

#define API_AVAILABLE_MACOS(version) __attribute__((availability(macos, introduced = version)))
#define NS_DESIGNATED_INITIALIZER __attribute__((objc_designated_initializer))

typedef bool BOOL;
#define nil nullptr
#define YES __objc_yes
#define NO __objc_no
typedef long NSInteger;
typedef unsigned long NSUInteger;
typedef double NSTimeInterval;
typedef struct objc_selector* SEL;
typedef CGRect NSRect;
typedef CGPoint NSPoint;
typedef CGSize NSSize;

@class NSArray<ObjectType>;
@class NSDate;
@class NSDictionary<KeyType, ObjectType>;
@class NSError;
@class NSRunLoop;
@class NSString;
@class Protocol;

#pragma clang assume_nonnull begin

typedef NSString* NSRunLoopMode;

@protocol NSObject
- (Class)class;
- (BOOL)isKindOfClass:(Class)aClass;
- (BOOL)respondsToSelector:(SEL)selector;
@property(readonly, copy) NSString* description;
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject>
+ (instancetype)alloc;
- (instancetype)init;
+ (instancetype)new;
+ (Class)class;
+ (BOOL)instancesRespondToSelector:(SEL)selector;
@end

@protocol NSCopying
@end

typedef struct {
    unsigned long state;
    id __unsafe_unretained _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
} NSFastEnumerationState;

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)count;
@end

@interface NSString : NSObject <NSCopying>
@property(readonly) NSUInteger length;
@property(nullable, readonly) const char* UTF8String;
+ (nullable instancetype)stringWithUTF8String:(const char*)text;
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)length
                              encoding:(NSUInteger)encoding;
- (BOOL)isEqualToString:(NSString*)other;
@end

enum : NSUInteger { NSUTF8StringEncoding = 4 };

@interface NSValue : NSObject
@end

@interface NSNumber : NSValue
@property(readonly) BOOL boolValue;
@property(readonly) NSInteger integerValue;
@property(readonly, copy) NSString* stringValue;
+ (NSNumber*)numberWithBool:(BOOL)value;
+ (NSNumber*)numberWithChar:(char)value;
+ (NSNumber*)numberWithInt:(int)value;
+ (NSNumber*)numberWithUnsignedInt:(unsigned int)value;
+ (NSNumber*)numberWithLong:(long)value;
+ (NSNumber*)numberWithUnsignedLong:(unsigned long)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
+ (NSNumber*)numberWithUnsignedLongLong:(unsigned long long)value;
+ (NSNumber*)numberWithDouble:(double)value;
@end

@interface NSData : NSObject
@property(readonly) NSUInteger length;
@property(readonly) const void* bytes;
@end

@interface NSArray<__covariant ObjectType> : NSObject <NSFastEnumeration>
@property(readonly) NSUInteger count;
+ (instancetype)array;
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nonnull])objects count:(NSUInteger)count;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)index;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
- (void)addObject:(ObjectType)object;
- (void)removeObject:(ObjectType)object;
- (void)removeAllObjects;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType> : NSObject <NSFastEnumeration>
@property(readonly) NSUInteger count;
+ (instancetype)dictionaryWithObjects:(const ObjectType _Nonnull[_Nullable])objects
                              forKeys:(const KeyType<NSCopying> _Nonnull[_Nullable])keys
                                count:(NSUInteger)count;
- (nullable ObjectType)objectForKeyedSubscript:(KeyType)key;
@end

@interface NSMutableDictionary<KeyType, ObjectType> : NSDictionary <KeyType, ObjectType>
- (void)setObject:(nullable ObjectType)object forKeyedSubscript:(KeyType<NSCopying>)key;
- (void)removeObjectForKey:(KeyType)key;
@end

@interface NSError : NSObject
@property(readonly, copy) NSString* localizedDescription;
@end

@interface NSDate : NSObject
@property(class, readonly, copy) NSDate* distantFuture;
+ (instancetype)date;
+ (instancetype)dateWithTimeIntervalSinceNow:(NSTimeInterval)seconds;
@end

@interface NSLocale : NSObject
+ (instancetype)localeWithLocaleIdentifier:(NSString*)identifier;
@end

@interface NSFormatter : NSObject
@end

@interface NSDateFormatter : NSFormatter
@property(null_resettable, copy) NSString* dateFormat;
@property(null_resettable, copy) NSLocale* locale;
- (NSString*)stringFromDate:(NSDate*)date;
@end

@interface NSURL : NSObject
+ (nullable instancetype)URLWithString:(NSString*)text;
+ (NSURL*)fileURLWithPath:(NSString*)path;
@end

@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
@property(readonly, copy) NSURL* bundleURL;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
@end

@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (nullable instancetype)initWithSuiteName:(nullable NSString*)name NS_DESIGNATED_INITIALIZER;
- (nullable id)objectForKey:(NSString*)key;
- (void)setObject:(nullable id)value forKey:(NSString*)key;
- (void)removeObjectForKey:(NSString*)key;
- (void)removePersistentDomainForName:(NSString*)name;
@end

typedef uint64_t NSActivityOptions;
enum : NSActivityOptions {
    NSActivityUserInitiatedAllowingIdleSystemSleep = 0x00EFFFFFULL,
    NSActivityLatencyCritical = 0xFF00000000ULL,
};

// Any thread.
@interface NSProcessInfo : NSObject
@property(class, readonly, strong) NSProcessInfo* processInfo;
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)options reason:(NSString*)reason;
- (void)endActivity:(id<NSObject>)activity;
@end

@interface NSNotification : NSObject
@end

@interface NSThread : NSObject
+ (void)sleepUntilDate:(NSDate*)date;
@end

@interface NSTimer : NSObject
@property NSTimeInterval tolerance;
+ (NSTimer*)timerWithTimeInterval:(NSTimeInterval)interval
                          repeats:(BOOL)repeats
                            block:(void (^)(NSTimer* timer))block;
- (void)invalidate;
@end

extern "C" NSRunLoopMode const NSDefaultRunLoopMode;
extern "C" NSRunLoopMode const NSRunLoopCommonModes;

@interface NSRunLoop : NSObject
@property(class, readonly, strong) NSRunLoop* currentRunLoop;
@property(class, readonly, strong) NSRunLoop* mainRunLoop;
- (void)addTimer:(NSTimer*)timer forMode:(NSRunLoopMode)mode;
- (BOOL)runMode:(NSRunLoopMode)mode beforeDate:(NSDate*)limit;
@end

@class NSNetService;
@class NSNetServiceBrowser;

// Their methods are optional: a class implements those that it wants to hear of.
@protocol NSNetServiceDelegate <NSObject>
@optional
- (void)netServiceDidResolveAddress:(NSNetService*)service;
- (void)netService:(NSNetService*)service didNotResolve:(NSDictionary<NSString*, NSNumber*>*)error;
@end

@protocol NSNetServiceBrowserDelegate <NSObject>
@optional
- (void)netServiceBrowser:(NSNetServiceBrowser*)browser
             didNotSearch:(NSDictionary<NSString*, NSNumber*>*)error;
- (void)netServiceBrowser:(NSNetServiceBrowser*)browser
           didFindService:(NSNetService*)service
               moreComing:(BOOL)moreComing;
- (void)netServiceBrowser:(NSNetServiceBrowser*)browser
         didRemoveService:(NSNetService*)service
               moreComing:(BOOL)moreComing;
@end

// Deprecated for programs that are built for the system of that version only.
__attribute__((availability(macos, introduced = 10.2, deprecated = 27.0)))
@interface NSNetService : NSObject
@property(nullable, assign) id<NSNetServiceDelegate> delegate;
@property(readonly, copy) NSString* name;
@property(readonly) NSInteger port;
@property(nullable, readonly, copy) NSArray<NSData*>* addresses;
- (void)scheduleInRunLoop:(NSRunLoop*)loop forMode:(NSRunLoopMode)mode;
- (void)removeFromRunLoop:(NSRunLoop*)loop forMode:(NSRunLoopMode)mode;
- (void)resolveWithTimeout:(NSTimeInterval)timeout;
- (void)stop;
- (nullable NSData*)TXTRecordData;
+ (NSDictionary<NSString*, NSData*>*)dictionaryFromTXTRecordData:(NSData*)data;
@end

__attribute__((availability(macos, introduced = 10.2, deprecated = 27.0)))
@interface NSNetServiceBrowser : NSObject
@property(nullable, assign) id<NSNetServiceBrowserDelegate> delegate;
- (instancetype)init;
- (void)scheduleInRunLoop:(NSRunLoop*)loop forMode:(NSRunLoopMode)mode;
- (void)removeFromRunLoop:(NSRunLoop*)loop forMode:(NSRunLoopMode)mode;
- (void)searchForServicesOfType:(NSString*)type inDomain:(NSString*)domain;
- (void)stop;
@end

extern "C" {

void NSLog(NSString* format, ...) __attribute__((format(__NSString__, 1, 2)));
Class _Nullable NSClassFromString(NSString* name);

}  // extern "C"

#pragma clang assume_nonnull end
