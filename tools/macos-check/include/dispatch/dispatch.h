#pragma once
/* hand-written: the part of libdispatch the backend uses */
#include <os/object.h>
#include <stdint.h>
OS_OBJECT_DECL(dispatch_object);
OS_OBJECT_DECL_SUB(dispatch_queue, dispatch_object);
OS_OBJECT_DECL_SUB(dispatch_semaphore, dispatch_object);
OS_OBJECT_DECL_SUB(dispatch_source, dispatch_object);
typedef const struct dispatch_source_type_s* dispatch_source_type_t;
OS_OBJECT_DECL_SUB(dispatch_queue_attr, dispatch_object);
typedef void (^dispatch_block_t)(void);
typedef uint64_t dispatch_time_t;
typedef long dispatch_once_t;
#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)
#define NSEC_PER_SEC 1000000000ull
#define DISPATCH_QUEUE_SERIAL NULL
extern "C" {
struct dispatch_queue_s;
struct dispatch_source_type_s;
extern struct dispatch_queue_s _dispatch_main_q;
extern const struct dispatch_source_type_s _dispatch_source_type_signal;
#define DISPATCH_SOURCE_TYPE_SIGNAL (&_dispatch_source_type_signal)
__attribute__((ns_returns_retained))
dispatch_source_t _Nonnull dispatch_source_create(dispatch_source_type_t _Nonnull type, uintptr_t handle,
                                                  uintptr_t mask, dispatch_queue_t _Nullable queue);
void dispatch_source_set_event_handler(dispatch_source_t _Nonnull source, dispatch_block_t _Nullable handler);
void dispatch_source_cancel(dispatch_source_t _Nonnull source);
void dispatch_activate(dispatch_object_t _Nonnull object)
    __attribute__((availability(macos, introduced = 10.12)));
void dispatch_async(dispatch_queue_t _Nonnull queue, dispatch_block_t _Nonnull block);
void dispatch_sync(dispatch_queue_t _Nonnull queue,
                   __attribute__((noescape)) dispatch_block_t _Nonnull block);
void dispatch_after(dispatch_time_t when, dispatch_queue_t _Nonnull queue, dispatch_block_t _Nonnull block);
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta);
__attribute__((ns_returns_retained))
dispatch_queue_t _Nonnull dispatch_queue_create(const char* _Nullable label,
                                                dispatch_queue_attr_t _Nullable attr);
__attribute__((ns_returns_retained)) dispatch_semaphore_t _Nonnull dispatch_semaphore_create(intptr_t value);
intptr_t dispatch_semaphore_wait(dispatch_semaphore_t _Nonnull s, dispatch_time_t t);
intptr_t dispatch_semaphore_signal(dispatch_semaphore_t _Nonnull s);
}
static inline dispatch_queue_t _Nonnull dispatch_get_main_queue(void) {
  return (__bridge dispatch_queue_t)(void*)&_dispatch_main_q;
}
