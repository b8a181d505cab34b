#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFLocale* CFLocaleRef;
typedef CFStringRef CFLocaleIdentifier;

CF_EXTERN CFLocaleRef CFLocaleCopyCurrent(void);
CF_EXTERN CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale);
