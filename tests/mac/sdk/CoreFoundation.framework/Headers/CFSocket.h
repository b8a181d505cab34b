#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFRunLoop.h>

typedef struct __CFSocket* CFSocketRef;
typedef int CFSocketNativeHandle;
typedef CFOptionFlags CFSocketCallBackType;

enum { kCFSocketReadCallBack = 1 };

/* An option of a socket's own, a bit. */
enum { kCFSocketCloseOnInvalidate = 128 };

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
