#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFRunLoop.h>

typedef struct __CFSocket* CFSocketRef;
typedef int CFSocketNativeHandle;
typedef CFOptionFlags CFSocketCallBackType;

enum { kCFSocketNoCallBack = 0, kCFSocketReadCallBack = 1 };

/* Sockets' own options, a bit each. */
enum { kCFSocketAutomaticallyReenableReadCallBack = 1, kCFSocketCloseOnInvalidate = 128 };

typedef void (*CFSocketCallBack)(CFSocketRef socket, CFSocketCallBackType type, CFDataRef address, const void* data,
                                 void* info);

typedef struct {
  CFIndex version;
  void* info;
  const void* (*retain)(const void* info);
  void (*release)(const void* info);
  CFStringRef (*copyDescription)(const void* info);
} CFSocketContext;

CF_EXTERN CFSocketRef CFSocketCreateWithNative(CFAllocatorRef allocator, CFSocketNativeHandle descriptor,
                                               CFOptionFlags types, CFSocketCallBack call_out,
                                               const CFSocketContext* context);
CF_EXTERN CFRunLoopSourceRef CFSocketCreateRunLoopSource(CFAllocatorRef allocator, CFSocketRef socket, CFIndex order);
CF_EXTERN CFSocketNativeHandle CFSocketGetNative(CFSocketRef socket);
CF_EXTERN CFOptionFlags CFSocketGetSocketFlags(CFSocketRef socket);
CF_EXTERN void CFSocketSetSocketFlags(CFSocketRef socket, CFOptionFlags flags);
