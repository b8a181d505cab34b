#pragma once

#import <Foundation/Foundation.h>

typedef NSInteger SKPaymentTransactionState;

@interface SKPaymentTransaction : NSObject
@property(nonatomic, readonly) NSError* error;
@property(nonatomic, readonly) SKPaymentTransactionState transactionState;
@end
