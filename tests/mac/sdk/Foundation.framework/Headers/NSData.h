#pragma once

#import <Foundation/NSObject.h>

@interface NSData : NSObject
@property(readonly) NSUInteger length;
+ (instancetype)dataWithBytes:(const void*)bytes length:(NSUInteger)length;
- (void)getBytes:(void*)buffer length:(NSUInteger)length;
@end
