#pragma once

#import <Foundation/NSObject.h>

@interface NSError : NSObject
@property(readonly) NSInteger code;
@end
