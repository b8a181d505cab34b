#pragma once

#import <Foundation/NSObject.h>

typedef NSUInteger NSStringEncoding;

enum { NSUTF8StringEncoding = 4 };

@interface NSString : NSObject
@property(readonly) NSUInteger length;
@property(readonly) const char* UTF8String;
+ (instancetype)stringWithUTF8String:(const char*)text;
- (BOOL)isEqualToString:(NSString*)other;
@end
