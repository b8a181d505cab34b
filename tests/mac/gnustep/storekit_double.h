#pragma once

#import <StoreKit/StoreKit.h>

#include <string>
#include <vector>

#include <tillvane/platform/store_service.h>
#include <tillvane/store/scripted_store.h>

/// \file
/// What tests do with the double of StoreKit. Main thread.

namespace storekit {

/// StoreKit is played by this store from now on; null for none.
void PlayedBy(ScriptedStore* store);

/// Lets the store say one thing, on the main thread's run loop. \return false when it has nothing to say
bool Pump();

/// What a delegate writes for this product, in UTF-8.
std::string PriceText(const platform::StoreProduct& product);

// All of these are autoreleased.
SKProduct* Product(const platform::StoreProduct& product);
SKProductsResponse* Response(const std::vector<platform::StoreProduct>& products);
NSArray* Transactions(const std::vector<platform::StoreTransaction>& transactions);

}  // namespace storekit
