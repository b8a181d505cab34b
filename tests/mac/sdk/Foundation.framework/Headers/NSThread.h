#pragma once

#import <Foundation/NSObject.h>

@interface NSThread : NSObject
@property(class, readonly) BOOL isMainThread;
@end

@interface NSObject (NSThreadPerformAdditions)
- (void)performSelectorOnMainThread:(SEL)selector withObject:(id)argument waitUntilDone:(BOOL)wait;
@end
