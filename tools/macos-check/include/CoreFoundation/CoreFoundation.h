// Hand-written declarations for type checking only. Not an SDK header.
#pragma once
#include <Availability.h>
#include <MacTypes_min.h>
#include <TargetConditionals.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>
#define CF_EXPORT extern "C"
#define CF_BRIDGED_TYPE(T) __attribute__((objc_bridge(T)))
#define CF_BRIDGED_MUTABLE_TYPE(T) __attribute__((objc_bridge_mutable(T)))
#define CF_RETURNS_RETAINED __attribute__((cf_returns_retained))
#define CF_CONSUMED __attribute__((cf_consumed))
#pragma clang assume_nonnull begin
#pragma clang arc_cf_code_audited begin
typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;
typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;
typedef const CF_BRIDGED_TYPE(id) void* CFTypeRef;
typedef const struct CF_BRIDGED_TYPE(NSString) __CFString* CFStringRef;
typedef const struct CF_BRIDGED_TYPE(NSDictionary) __CFDictionary* CFDictionaryRef;
typedef struct CF_BRIDGED_MUTABLE_TYPE(NSMutableDictionary) __CFDictionary* CFMutableDictionaryRef;
typedef const struct CF_BRIDGED_TYPE(NSArray) __CFArray* CFArrayRef;
typedef const struct CF_BRIDGED_TYPE(NSData) __CFData* CFDataRef;
typedef const struct CF_BRIDGED_TYPE(NSURL) __CFURL* CFURLRef;
typedef struct CF_BRIDGED_TYPE(NSError) __CFError* CFErrorRef;
typedef const struct CF_BRIDGED_TYPE(NSNumber) __CFBoolean* CFBooleanRef;
typedef const struct CF_BRIDGED_TYPE(NSNumber) __CFNumber* CFNumberRef;
typedef const struct CF_BRIDGED_TYPE(id) __CFAllocator* CFAllocatorRef;
typedef struct CF_BRIDGED_TYPE(id) __CFBundle* CFBundleRef;
typedef uint32_t CFStringEncoding;
enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };
typedef struct {
  CFIndex version;
  const void* _Nullable retain;
  const void* _Nullable release;
  const void* _Nullable copyDescription;
  const void* _Nullable equal;
  const void* _Nullable hash;
} CFDictionaryKeyCallBacks;
typedef struct {
  CFIndex version;
  const void* _Nullable retain;
  const void* _Nullable release;
  const void* _Nullable copyDescription;
  const void* _Nullable equal;
} CFDictionaryValueCallBacks;
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
CF_EXPORT const CFBooleanRef kCFBooleanTrue;
CF_EXPORT const CFBooleanRef kCFBooleanFalse;
CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
CF_EXPORT CFMutableDictionaryRef
CFDictionaryCreateMutable(CFAllocatorRef _Nullable allocator, CFIndex capacity,
                          const CFDictionaryKeyCallBacks* _Nullable keyCallBacks,
                          const CFDictionaryValueCallBacks* _Nullable valueCallBacks) CF_RETURNS_RETAINED;
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* _Nullable key,
                                    const void* _Nullable value);
typedef struct CF_BRIDGED_TYPE(id) __CFRunLoop* CFRunLoopRef;
CF_EXPORT const CFStringRef kCFRunLoopCommonModes;
CF_EXPORT const CFStringRef kCFRunLoopDefaultMode;
CF_EXPORT CFRunLoopRef _Null_unspecified CFRunLoopGetMain(void);
CF_EXPORT void CFRunLoopPerformBlock(CFRunLoopRef _Null_unspecified rl, CFTypeRef _Null_unspecified mode,
                                     void (^_Null_unspecified block)(void))
    __attribute__((availability(macos, introduced = 10.6)));
CF_EXPORT void CFRunLoopWakeUp(CFRunLoopRef _Null_unspecified rl);
CF_EXPORT void CFRelease(CFTypeRef cf);
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
CF_EXPORT CFTypeID CFBooleanGetTypeID(void);
CF_EXPORT CFDictionaryRef _Nullable CFBundleCopyInfoDictionaryInDirectory(
    CFURLRef _Null_unspecified bundleURL) CF_RETURNS_RETAINED;
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf) CF_RETURNS_RETAINED;
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef err) CF_RETURNS_RETAINED;
#define CFSTR(s) ((CFStringRef)__builtin___CFStringMakeConstantString("" s ""))
#pragma clang arc_cf_code_audited end
#pragma clang assume_nonnull end
