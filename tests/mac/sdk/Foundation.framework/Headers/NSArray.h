#pragma once

#import <Foundation/NSObject.h>

@interface NSArray<ObjectType> : NSObject
@property(readonly) NSUInteger count;
+ (instancetype)arrayWithObjects:(ObjectType)first, ... __attribute__((sentinel(0, 1)));
- (instancetype)initWithArray:(NSArray<ObjectType>*)array;
- (BOOL)containsObject:(ObjectType)object;
- (ObjectType)objectAtIndex:(NSUInteger)index;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)arrayWithCapacity:(NSUInteger)capacity;
- (void)addObject:(ObjectType)object;
- (void)removeObject:(ObjectType)object;
@end
