#pragma once

#import <Foundation/Foundation.h>
#import <StoreKit/StoreKit.h>

#include <tillvane/core/LProcessInterface.h>

/// Asks the store for the host's product, keeps it and its price, and buys it. Main thread; an answer that comes on
/// another thread is taken in by the main thread's run loop.
///
/// Requests do not own it; it cancels those that are under way when it ends.
@interface TillvaneStoreRequestDelegate : NSObject <SKProductsRequestDelegate> {
 @private
  NSString* strProductID;
  NSArray* arrProducts;
  NSString* strPrice;
  LSignalObject soReceivedProductsInfo;
}

/// Has the store answered with products? They need not hold the one that was asked for.
- (BOOL)IsProductInfoAvailable;
/// Asks the store and waits for its answer. \param base nil is empty
- (void)GetProductInfo:(NSString*)base usingInterface:(LProcessInterface*)process;
/// Copies the price and its terminator, in the system's default C string encoding; without a price nothing is written.
- (void)GetPrice:(char*)text;
/// Pays for the first product with the identifier that was asked for; without one buys nothing.
- (void)Purchase;

@end
