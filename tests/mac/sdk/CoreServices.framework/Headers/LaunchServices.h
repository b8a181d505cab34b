#pragma once

#include <CoreFoundation/CoreFoundation.h>

enum { kLSApplicationNotFoundErr = -10814 };

CF_EXTERN CFArrayRef LSCopyApplicationURLsForBundleIdentifier(CFStringRef identifier, CFErrorRef* error);
CF_EXTERN OSStatus LSOpenCFURLRef(CFURLRef url, CFURLRef* launched);
