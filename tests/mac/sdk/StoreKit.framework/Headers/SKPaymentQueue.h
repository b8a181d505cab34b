#pragma once

#import <StoreKit/SKPayment.h>
#import <StoreKit/SKPaymentTransaction.h>

@class SKPaymentQueue;

@protocol SKPaymentTransactionObserver <NSObject>
- (void)paymentQueue:(SKPaymentQueue*)queue updatedTransactions:(NSArray<SKPaymentTransaction*>*)transactions;
@optional
- (void)paymentQueue:(SKPaymentQueue*)queue restoreCompletedTransactionsFailedWithError:(NSError*)error;
- (void)paymentQueueRestoreCompletedTransactionsFinished:(SKPaymentQueue*)queue;
@end

@interface SKPaymentQueue : NSObject
+ (BOOL)canMakePayments;
+ (instancetype)defaultQueue;
- (void)addPayment:(SKPayment*)payment;
- (void)addTransactionObserver:(id<SKPaymentTransactionObserver>)observer;
- (void)finishTransaction:(SKPaymentTransaction*)transaction;
- (void)removeTransactionObserver:(id<SKPaymentTransactionObserver>)observer;
- (void)restoreCompletedTransactions;
@end
