#pragma once

#import <Foundation/NSValue.h>

@interface NSDecimalNumber : NSNumber
+ (NSDecimalNumber*)decimalNumberWithString:(NSString*)text;
@end
