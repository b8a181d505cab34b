#pragma once

#include <CoreFoundation/CFBase.h>

typedef UInt32 CFStringEncoding;

enum {
  kCFStringEncodingWindowsLatin1 = 0x0500,
  kCFStringEncodingISOLatin1 = 0x0201,
  kCFStringEncodingUnicode = 0x0100,
  kCFStringEncodingUTF8 = 0x08000100
};

#define CFSTR(text) ((CFStringRef)__builtin___CFStringMakeConstantString(text))

CF_EXTERN CFTypeID CFStringGetTypeID(void);
CF_EXTERN CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                              CFStringEncoding encoding, Boolean external);
CF_EXTERN CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
CF_EXTERN CFStringRef CFStringCreateWithCharacters(CFAllocatorRef allocator, const UniChar* units, CFIndex count);
CF_EXTERN CFIndex CFStringGetLength(CFStringRef string);
CF_EXTERN void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* units);
CF_EXTERN CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding, UInt8 loss,
                                   Boolean external, UInt8* bytes, CFIndex room, CFIndex* used);
CF_EXTERN Boolean CFStringGetCString(CFStringRef string, char* text, CFIndex size, CFStringEncoding encoding);
CF_EXTERN CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
