#pragma once

#import <Foundation/NSString.h>

@interface NSURL : NSObject
@property(readonly) NSString* path;
+ (instancetype)fileURLWithPath:(NSString*)path;
@end
