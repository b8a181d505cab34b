#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

typedef const struct __CFURL* CFURLRef;

typedef CFIndex CFURLPathStyle;
enum { kCFURLPOSIXPathStyle = 0 };

/* The File Manager's own mark of a file. */
struct FSRef;

CF_EXTERN CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef path, CFURLPathStyle style,
                                                 Boolean folder);
CF_EXTERN CFURLRef CFURLCopyAbsoluteURL(CFURLRef url);
CF_EXTERN CFStringRef CFURLCopyFileSystemPath(CFURLRef url, CFURLPathStyle style);
CF_EXTERN CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
CF_EXTERN CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);
CF_EXTERN Boolean CFURLHasDirectoryPath(CFURLRef url);
CF_EXTERN Boolean CFURLGetFSRef(CFURLRef url, struct FSRef* file) API_DEPRECATED("", macos(10.0, 10.9));
