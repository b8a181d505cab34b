#pragma once

// The same names for the linker in C++ as in Objective-C++.
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
