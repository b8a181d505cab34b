#include <tillvane/platform/mac/store_request_delegate_mac.h>

#include <cstddef>
#include <vector>

#include <tillvane/platform/mac/money_mac.h>
#include <tillvane/store/store_rules.h>

namespace {

bool IsProduct(SKProduct* product, NSString* identifier) {
  return [[product productIdentifier] isEqualToString:identifier] != NO;
}

/// A products request's answer as the rules speak of it, and where to keep what it brings.
struct Received {
  NSArray* products;
  NSString* asked_for;
  NSArray** kept_products;
  NSString** kept_price;
  LSignalObjectRef received;

  std::size_t Count() const { return [products count]; }
  bool IsAskedFor(std::size_t i) const { return IsProduct([products objectAtIndex:i], asked_for); }
  void KeepProducts() {
    [*kept_products release];
    *kept_products = [[NSArray alloc] initWithArray:products];
  }
  void KeepPrice(std::size_t i) {
    SKProduct* const product = [products objectAtIndex:i];
    [*kept_price release];
    *kept_price = platform::NewMoneyText([product price], [product priceLocale]);
  }
  void Signal() { received.Signal(); }
};

/// Requests that the store has not answered yet; some it never answers. Each is owned here. Main thread.
std::vector<SKProductsRequest*>& RequestsUnderWay() {
  static std::vector<SKProductsRequest*> requests;
  return requests;
}

/// A request knows its delegate without owning it, and outlives it in the store's hands.
void CancelRequestsOf(TillvaneStoreRequestDelegate* delegate) {
  std::erase_if(RequestsUnderWay(), [delegate](SKProductsRequest* request) {
    if ([request delegate] != delegate) return false;
    [request setDelegate:nil];
    [request cancel];
    [request release];
    return true;
  });
}

}  // namespace

@implementation TillvaneStoreRequestDelegate

- (void)dealloc {
  CancelRequestsOf(self);
  [strProductID release];
  [arrProducts release];
  [strPrice release];
  [super dealloc];
}

- (BOOL)IsProductInfoAvailable {
  return arrProducts != nil;
}

- (void)GetProductInfo:(NSString*)base usingInterface:(LProcessInterface*)process {
  [strProductID release];
  strProductID = [[NSString alloc] initWithUTF8String:store::ProductIdentifier([base UTF8String]).c_str()];
  SKProductsRequest* const request =
      [[SKProductsRequest alloc] initWithProductIdentifiers:[NSSet setWithObject:strProductID]];
  RequestsUnderWay().push_back(request);
  [request setDelegate:self];
  [request start];
  store::WaitForProducts(soReceivedProductsInfo, *process);
}

- (void)productsRequest:(SKProductsRequest*)request didReceiveResponse:(SKProductsResponse*)response {
  std::erase(RequestsUnderWay(), request);
  [request release];
  store::HandleProducts(Received{[response products], strProductID, &arrProducts, &strPrice, soReceivedProductsInfo});
}

- (void)GetPrice:(char*)text {
  if (strPrice == nil || text == nullptr) return;
  // A sign that the encoding does not have is replaced; the string's own copying would throw.
  NSData* const bytes = [strPrice dataUsingEncoding:[NSString defaultCStringEncoding] allowLossyConversion:YES];
  const std::size_t length = [bytes length];
  [bytes getBytes:text length:length];
  text[length] = '\0';
}

- (void)Purchase {
  NSArray* const products = arrProducts;
  NSString* const asked_for = strProductID;
  const auto is_asked_for = [=](std::size_t i) { return IsProduct([products objectAtIndex:i], asked_for); };
  const std::size_t match = store::FirstMatch([products count], is_asked_for);
  if (match == [products count]) return;
  SKPayment* const payment = [SKPayment paymentWithProduct:[products objectAtIndex:match]];
  [[SKPaymentQueue defaultQueue] addPayment:payment];
}

@end
