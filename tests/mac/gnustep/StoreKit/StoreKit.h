#pragma once

#import <Foundation/Foundation.h>

/// \file
/// A double of StoreKit for tests: as much of its interface as the library uses, played by a ScriptedStore
/// (storekit_double.h). What StoreKit owns and does not own, this does not own either.

enum { SKErrorPaymentCancelled = 2 };

typedef NSInteger SKPaymentTransactionState;
enum {
  SKPaymentTransactionStatePurchasing,
  SKPaymentTransactionStatePurchased,
  SKPaymentTransactionStateFailed,
  SKPaymentTransactionStateRestored,
  SKPaymentTransactionStateDeferred
};

@class SKPaymentQueue, SKProductsRequest, SKProductsResponse;

@interface SKProduct : NSObject {
  NSString* identifier_;
  NSDecimalNumber* price_;
  NSLocale* locale_;
}
- (NSString*)productIdentifier;
- (NSDecimalNumber*)price;
- (NSLocale*)priceLocale;
@end

@protocol SKProductsRequestDelegate <NSObject>
- (void)productsRequest:(SKProductsRequest*)request didReceiveResponse:(SKProductsResponse*)response;
@end

@interface SKRequest : NSObject {
  id<SKProductsRequestDelegate> delegate_;  // not owned
}
/// StoreKit's request refers to it weakly, and tells nobody a delegate that is about to end: there is nothing to ask.
- (void)setDelegate:(id<SKProductsRequestDelegate>)delegate;
- (void)start;
- (void)cancel;
@end

@interface SKProductsRequest : SKRequest {
  NSSet* identifiers_;
  void* hearing_;  // while it is under way the store owns it
}
- (id)initWithProductIdentifiers:(NSSet*)identifiers;
@end

@interface SKProductsResponse : NSObject {
  NSArray* products_;
}
- (NSArray*)products;
@end

@interface SKPayment : NSObject {
  SKProduct* product_;
}
+ (id)paymentWithProduct:(SKProduct*)product;
@end

@interface SKPaymentTransaction : NSObject {
  long long id_;
  SKPaymentTransactionState state_;
  NSError* error_;
}
- (SKPaymentTransactionState)transactionState;
- (NSError*)error;
@end

@protocol SKPaymentTransactionObserver <NSObject>
- (void)paymentQueue:(SKPaymentQueue*)queue updatedTransactions:(NSArray*)transactions;
@optional
- (void)paymentQueue:(SKPaymentQueue*)queue restoreCompletedTransactionsFailedWithError:(NSError*)error;
- (void)paymentQueueRestoreCompletedTransactionsFinished:(SKPaymentQueue*)queue;
@end

@interface SKPaymentQueue : NSObject
+ (BOOL)canMakePayments;
+ (id)defaultQueue;
- (void)addPayment:(SKPayment*)payment;
- (void)finishTransaction:(SKPaymentTransaction*)transaction;
- (void)restoreCompletedTransactions;
/// Observers are owned, as a system may do: they end only after they are removed.
- (void)addTransactionObserver:(id<SKPaymentTransactionObserver>)observer;
- (void)removeTransactionObserver:(id<SKPaymentTransactionObserver>)observer;
@end
