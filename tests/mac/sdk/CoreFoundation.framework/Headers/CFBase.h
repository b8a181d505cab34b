#pragma once

#include <MacTypes.h>
#include <TargetConditionals.h>
#include <os/availability.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus)
#define CF_EXTERN extern "C"
#else
#define CF_EXTERN extern
#endif

typedef const void* CFTypeRef;
typedef unsigned long CFTypeID;
typedef unsigned long CFHashCode;
typedef unsigned long CFOptionFlags;
typedef long CFIndex;
typedef struct {
  CFIndex location;
  CFIndex length;
} CFRange;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef CFTypeRef CFPropertyListRef;

CF_EXTERN const CFAllocatorRef kCFAllocatorDefault;

CF_EXTERN CFTypeID CFGetTypeID(CFTypeRef object);
CF_EXTERN void CFRelease(CFTypeRef object);

static inline CFRange CFRangeMake(CFIndex location, CFIndex length) {
  CFRange range;
  range.location = location;
  range.length = length;
  return range;
}
