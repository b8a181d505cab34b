#pragma once

#import <Foundation/Foundation.h>

@interface SKProduct : NSObject
@property(nonatomic, readonly) NSDecimalNumber* price;
@property(nonatomic, readonly) NSLocale* priceLocale;
@property(nonatomic, readonly) NSString* productIdentifier;
@end
