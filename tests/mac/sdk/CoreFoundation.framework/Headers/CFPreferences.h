#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN const CFStringRef kCFPreferencesAnyApplication;
CF_EXTERN const CFStringRef kCFPreferencesAnyHost;
CF_EXTERN const CFStringRef kCFPreferencesCurrentUser;

CF_EXTERN CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application);
CF_EXTERN CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user,
                                                   CFStringRef host);
