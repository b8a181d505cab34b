#pragma once

#import <Foundation/NSObject.h>

@interface NSSet<ObjectType> : NSObject
+ (instancetype)setWithObject:(ObjectType)object;
@end
