// Hand-written declarations for type checking only. Not an SDK header.
#pragma once
#include <Security/Security.h>
#define SM_DEP(a, d) __attribute__((availability(macos, introduced = a, deprecated = d)))
// no assume_nonnull region on the job calls: their pointers are _Null_unspecified (except where noted)
CF_EXPORT const CFStringRef _Null_unspecified kSMDomainSystemLaunchd
    __attribute__((availability(macos, introduced = 10.6)));
CF_EXPORT const CFStringRef _Null_unspecified kSMDomainUserLaunchd
    __attribute__((availability(macos, introduced = 10.6)));
CF_EXPORT Boolean SMJobSubmit(CFStringRef _Null_unspecified domain, CFDictionaryRef _Nonnull job,
                              AuthorizationRef _Null_unspecified auth,
                              CFErrorRef _Null_unspecified* _Null_unspecified outError) SM_DEP(10.6, 10.10);
CF_EXPORT Boolean SMJobRemove(CFStringRef _Null_unspecified domain, CFStringRef _Nonnull jobLabel,
                              AuthorizationRef _Null_unspecified auth, Boolean wait,
                              CFErrorRef _Null_unspecified* _Null_unspecified outError) SM_DEP(10.6, 10.10);
CF_EXPORT Boolean SMJobBless(CFStringRef _Null_unspecified domain, CFStringRef _Nonnull executableLabel,
                             AuthorizationRef _Null_unspecified auth,
                             CFErrorRef _Null_unspecified* _Null_unspecified outError) SM_DEP(10.6, 13.0);
CF_EXPORT CFDictionaryRef _Null_unspecified SMJobCopyDictionary(CFStringRef _Null_unspecified domain,
                                                                CFStringRef _Nonnull jobLabel)
    SM_DEP(10.6, 10.10) CF_RETURNS_RETAINED;
