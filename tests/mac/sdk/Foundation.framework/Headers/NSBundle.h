#pragma once

#import <Foundation/NSString.h>

@interface NSBundle : NSObject
@property(class, readonly) NSBundle* mainBundle;
@property(readonly) NSString* bundlePath;
@end
