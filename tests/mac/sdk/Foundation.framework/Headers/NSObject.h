#pragma once

#import <Foundation/NSObjCRuntime.h>
#import <objc/NSObject.h>

@class NSString;
