#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

typedef CFStringRef CFRunLoopMode;
typedef struct __CFRunLoop* CFRunLoopRef;
typedef struct __CFRunLoopSource* CFRunLoopSourceRef;
typedef double CFTimeInterval;

typedef struct {
  CFIndex version;
  void* info;
  const void* (*retain)(const void* info);
  void (*release)(const void* info);
  CFStringRef (*copyDescription)(const void* info);
  Boolean (*equal)(const void* one, const void* other);
  CFHashCode (*hash)(const void* info);
  void (*schedule)(void* info, CFRunLoopRef loop, CFRunLoopMode mode);
  void (*cancel)(void* info, CFRunLoopRef loop, CFRunLoopMode mode);
  void (*perform)(void* info);
} CFRunLoopSourceContext;

CF_EXTERN const CFRunLoopMode kCFRunLoopCommonModes;
CF_EXTERN const CFRunLoopMode kCFRunLoopDefaultMode;

CF_EXTERN CFRunLoopRef CFRunLoopGetCurrent(void);
CF_EXTERN CFRunLoopRef CFRunLoopGetMain(void);
CF_EXTERN CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef allocator, CFIndex order,
                                                   CFRunLoopSourceContext* context);
CF_EXTERN void CFRunLoopSourceSignal(CFRunLoopSourceRef source);
CF_EXTERN void CFRunLoopWakeUp(CFRunLoopRef loop);
CF_EXTERN void CFRunLoopStop(CFRunLoopRef loop);
/* Its answer, why it returned, is a number that nobody here asks for. */
CF_EXTERN SInt32 CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean one_source);
CF_EXTERN void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode);
CF_EXTERN void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode);
