#include <tillvane/platform/store_service.h>

#import <StoreKit/StoreKit.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>

namespace platform {

bool CanMakePayments() {
  const AutoreleasePool pool;
  return [SKPaymentQueue canMakePayments] != NO;
}

// The App Store asks the user, and whoever else has to approve, itself.
void SetPurchaseConfirmation(bool (*)(const char* id, const char* price, void* data), void*) {}
void DecideDeferredPurchases(bool) {}

}  // namespace platform
