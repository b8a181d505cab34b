#pragma once

#import <StoreKit/SKProduct.h>

@interface SKPayment : NSObject
+ (instancetype)paymentWithProduct:(SKProduct*)product;
@end
