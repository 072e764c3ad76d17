// Hand-written declarations for type checking only. Not an SDK header.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#pragma clang assume_nonnull begin
#define SEC_API(v) __attribute__((availability(macos, introduced = v)))
typedef const struct AuthorizationOpaqueRef* AuthorizationRef;
typedef UInt32 AuthorizationFlags;
enum : AuthorizationFlags {
  kAuthorizationFlagDefaults = 0,
  kAuthorizationFlagInteractionAllowed = 1 << 0,
  kAuthorizationFlagExtendRights = 1 << 1,
  kAuthorizationFlagPartialRights = 1 << 2,
  kAuthorizationFlagDestroyRights = 1 << 3,
  kAuthorizationFlagPreAuthorize = 1 << 4
};
enum : OSStatus {
  errAuthorizationSuccess = 0,
  errAuthorizationInvalidSet = -60001,
  errAuthorizationInvalidRef = -60002,
  errAuthorizationDenied = -60005,
  errAuthorizationCanceled = -60006,
  errAuthorizationInteractionNotAllowed = -60007
};
typedef const char* AuthorizationString;
typedef struct {
  AuthorizationString name;
  size_t valueLength;
  void* _Nullable value;
  UInt32 flags;
} AuthorizationItem;
typedef struct {
  UInt32 count;
  AuthorizationItem* _Nullable items;
} AuthorizationItemSet;
typedef AuthorizationItemSet AuthorizationRights;
typedef AuthorizationItemSet AuthorizationEnvironment;
enum { kAuthorizationExternalFormLength = 32 };
typedef struct {
  char bytes[kAuthorizationExternalFormLength];
} AuthorizationExternalForm;
#define kAuthorizationEmptyEnvironment NULL
#define kAuthorizationEnvironmentPrompt "prompt"
#define kAuthorizationEnvironmentIcon "icon"
#define kAuthorizationRuleAuthenticateAsAdmin "authenticate-admin"
CF_EXPORT OSStatus AuthorizationCreate(const AuthorizationRights* _Nullable rights,
                                       const AuthorizationEnvironment* _Nullable environment,
                                       AuthorizationFlags flags,
                                       AuthorizationRef _Nullable* _Nullable authorization);
CF_EXPORT OSStatus AuthorizationFree(AuthorizationRef authorization, AuthorizationFlags flags);
CF_EXPORT OSStatus AuthorizationCopyRights(AuthorizationRef authorization, const AuthorizationRights* rights,
                                           const AuthorizationEnvironment* _Nullable environment,
                                           AuthorizationFlags flags,
                                           AuthorizationRights* _Nullable* _Nullable authorizedRights);
CF_EXPORT OSStatus AuthorizationMakeExternalForm(AuthorizationRef authorization,
                                                 AuthorizationExternalForm* extForm);
CF_EXPORT OSStatus AuthorizationCreateFromExternalForm(const AuthorizationExternalForm* extForm,
                                                       AuthorizationRef _Nullable* _Nonnull authorization);
CF_EXPORT OSStatus AuthorizationFreeItemSet(AuthorizationItemSet* set);
CF_EXPORT OSStatus AuthorizationRightGet(
    const char* rightName, CFDictionaryRef _Nullable* _Nullable CF_RETURNS_RETAINED rightDefinition);
CF_EXPORT OSStatus AuthorizationRightSet(AuthorizationRef authRef, const char* rightName,
                                         CFTypeRef rightDefinition, CFStringRef _Nullable descriptionKey,
                                         CFBundleRef _Nullable bundle, CFStringRef _Nullable localeTableName);
CF_EXPORT CFStringRef _Nullable SecCopyErrorMessageString(OSStatus status,
                                                          void* _Nullable reserved) CF_RETURNS_RETAINED
    SEC_API(10.3);
#pragma clang assume_nonnull end
