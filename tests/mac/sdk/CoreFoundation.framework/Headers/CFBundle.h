#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>

typedef struct __CFBundle* CFBundleRef;

CF_EXTERN CFBundleRef CFBundleGetMainBundle(void);
CF_EXTERN CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
CF_EXTERN CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);
CF_EXTERN CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key);
