#pragma once

#import <Foundation/NSLocale.h>
#import <Foundation/NSValue.h>

typedef NSUInteger NSNumberFormatterBehavior;
enum { NSNumberFormatterBehavior10_4 = 1040 };

typedef NSUInteger NSNumberFormatterStyle;
enum { NSNumberFormatterCurrencyStyle = 2 };

@interface NSNumberFormatter : NSObject
@property NSNumberFormatterBehavior formatterBehavior;
@property NSNumberFormatterStyle numberStyle;
@property(copy) NSLocale* locale;
- (NSString*)stringFromNumber:(NSNumber*)number;
@end
