#pragma once

#import <Foundation/NSValue.h>

@interface NSDecimalNumber : NSNumber
@end
