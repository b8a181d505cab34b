#pragma once

#import <Foundation/NSObject.h>

@interface NSArray<ObjectType> : NSObject
@property(readonly) NSUInteger count;
- (ObjectType)objectAtIndex:(NSUInteger)index;
@end
