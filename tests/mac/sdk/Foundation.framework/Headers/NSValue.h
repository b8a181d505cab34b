#pragma once

#import <Foundation/NSObject.h>

@interface NSValue : NSObject
@end

@interface NSNumber : NSValue
@end
