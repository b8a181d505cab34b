#pragma once

#import <Foundation/Foundation.h>
#import <StoreKit/StoreKit.h>

#include <cstdint>

#include <tillvane/core/LProcessInterface.h>

/// Hears how purchases and restores end, keeps the last outcome and wakes the call that waits for it. Main thread.
///
/// Its owner adds it to the payment queue, and takes it out again before letting go of it.
@interface TillvaneStoreObserver : NSObject <SKPaymentTransactionObserver> {
 @private
  std::int32_t result;
  LSignalObject soDone;
}

/// A store::Outcome; it lives as long as the observer and is never reset.
- (std::int32_t)GetResult;
- (void)restoreCompletedTransactions;
/// Waits for the answer to a purchase or a restore that was just asked for.
- (void)Process:(LProcessInterface*)process;

// How a transaction ended.
- (void)completeTransaction:(SKPaymentTransaction*)transaction;
- (void)failedTransaction:(SKPaymentTransaction*)transaction;
- (void)restoreTransaction:(SKPaymentTransaction*)transaction;

@end
