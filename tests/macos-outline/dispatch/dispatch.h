#pragma once

// Outline of libdispatch: the declarations that platform/macos/ calls. Its objects are Objective-C objects
// under ARC.

#import <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

@protocol OS_dispatch_object <NSObject>
@end
@protocol OS_dispatch_queue <OS_dispatch_object>
@end
@protocol OS_dispatch_queue_global <OS_dispatch_queue>
@end
@protocol OS_dispatch_queue_serial <OS_dispatch_queue>
@end
@protocol OS_dispatch_queue_main <OS_dispatch_queue_serial>
@end
@protocol OS_dispatch_queue_attr <OS_dispatch_object>
@end
@protocol OS_dispatch_semaphore <OS_dispatch_object>
@end
@protocol OS_dispatch_group <OS_dispatch_object>
@end
@protocol OS_dispatch_source <OS_dispatch_object>
@end

typedef NSObject<OS_dispatch_object>* dispatch_object_t;
typedef NSObject<OS_dispatch_queue>* dispatch_queue_t;
typedef NSObject<OS_dispatch_queue_global>* dispatch_queue_global_t;
typedef NSObject<OS_dispatch_queue_main>* dispatch_queue_main_t;
typedef NSObject<OS_dispatch_queue_attr>* dispatch_queue_attr_t;
typedef NSObject<OS_dispatch_semaphore>* dispatch_semaphore_t;
typedef NSObject<OS_dispatch_group>* dispatch_group_t;
typedef NSObject<OS_dispatch_source>* dispatch_source_t;
typedef const struct dispatch_source_type_s* dispatch_source_type_t;
typedef void (^dispatch_block_t)(void);
typedef uint64_t dispatch_time_t;

typedef enum : unsigned int {
    QOS_CLASS_USER_INTERACTIVE = 0x21,
    QOS_CLASS_USER_INITIATED = 0x19,
} qos_class_t;
typedef qos_class_t dispatch_qos_class_t;

#define DISPATCH_RETURNS_RETAINED __attribute__((ns_returns_retained))
#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)

extern "C" {

#define DISPATCH_QUEUE_SERIAL NULL

dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(dispatch_queue_attr_t _Nullable attributes,
                                                              dispatch_qos_class_t quality, int relative);
dispatch_queue_t dispatch_queue_create(const char* _Nullable label,
                                       dispatch_queue_attr_t _Nullable attributes) DISPATCH_RETURNS_RETAINED;
dispatch_queue_main_t dispatch_get_main_queue(void);
dispatch_queue_global_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags);
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
void dispatch_sync(dispatch_queue_t queue, __attribute__((noescape)) dispatch_block_t block);
void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block);
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t nanoseconds);

dispatch_semaphore_t dispatch_semaphore_create(intptr_t value) DISPATCH_RETURNS_RETAINED;
intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore);
intptr_t dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout);

dispatch_group_t dispatch_group_create(void) DISPATCH_RETURNS_RETAINED;
void dispatch_group_async(dispatch_group_t group, dispatch_queue_t queue, dispatch_block_t block);
intptr_t dispatch_group_wait(dispatch_group_t group, dispatch_time_t timeout);

extern const struct dispatch_source_type_s _dispatch_source_type_signal;
#define DISPATCH_SOURCE_TYPE_SIGNAL (&_dispatch_source_type_signal)
dispatch_source_t dispatch_source_create(dispatch_source_type_t type, uintptr_t handle, uintptr_t mask,
                                         dispatch_queue_t _Nullable queue) DISPATCH_RETURNS_RETAINED;
void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t _Nullable handler);
void dispatch_source_cancel(dispatch_source_t source);
void dispatch_resume(dispatch_object_t object);

}  // extern "C"

#pragma clang assume_nonnull end
