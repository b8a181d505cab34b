#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <stdio.h>

typedef const struct AuthorizationOpaqueRef* AuthorizationRef;
typedef UInt32 AuthorizationFlags;
typedef const char* AuthorizationString;

typedef struct {
  AuthorizationString name;
  size_t valueLength;
  void* value;
  UInt32 flags;
} AuthorizationItem;

typedef struct {
  UInt32 count;
  AuthorizationItem* items;
} AuthorizationItemSet;
typedef AuthorizationItemSet AuthorizationRights;
typedef AuthorizationItemSet AuthorizationEnvironment;

#define kAuthorizationEmptyEnvironment NULL

enum { errAuthorizationSuccess = 0, errAuthorizationCanceled = -60006 };
enum {
  kAuthorizationFlagDefaults = 0,
  kAuthorizationFlagInteractionAllowed = 1,
  kAuthorizationFlagExtendRights = 2,
  kAuthorizationFlagPreAuthorize = 16
};

CF_EXTERN OSStatus AuthorizationCreate(const AuthorizationRights* rights, const AuthorizationEnvironment* environment,
                                       AuthorizationFlags flags, AuthorizationRef* authorization);
CF_EXTERN OSStatus AuthorizationCopyRights(AuthorizationRef authorization, const AuthorizationRights* rights,
                                           const AuthorizationEnvironment* environment, AuthorizationFlags flags,
                                           AuthorizationRights** granted);
CF_EXTERN OSStatus AuthorizationExecuteWithPrivileges(AuthorizationRef authorization, const char* tool,
                                                      AuthorizationFlags options, char* const* arguments, FILE** pipe)
    API_DEPRECATED("", macos(10.1, 10.7));
CF_EXTERN OSStatus AuthorizationFree(AuthorizationRef authorization, AuthorizationFlags flags);
