#pragma once

/// \file
/// Stands before the library's own: the types of macOS that GNUstep has too.

#include <sys/types.h>

#ifdef __OBJC__
@class NSMutableArray;
@class NSString;
@class NSURL;
#else
struct NSMutableArray;
struct NSString;
struct NSURL;
#endif
using LPlatformString = NSString;
using LPlatformStringArray = NSMutableArray;
using LPlatformURL = NSURL;
