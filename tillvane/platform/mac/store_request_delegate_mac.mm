#include <tillvane/platform/mac/store_request_delegate_mac.h>

#include <algorithm>
#include <cstddef>
#include <mutex>
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

/// Requests that the store has not answered yet; some it never answers. Any thread: a thread of the store's may be the
/// last to let go of a delegate.
class RequestsUnderWay {
 public:
  /// \param request owned from now on
  void Add(SKProductsRequest* request, TillvaneStoreRequestDelegate* delegate) {
    const std::lock_guard lock(mutex_);
    requests_.push_back({request, delegate});
  }
  /// \return whether it was here; then it is the caller's to release
  bool Remove(SKProductsRequest* request) {
    const std::lock_guard lock(mutex_);
    return std::erase_if(requests_, [request](const Request& one) { return one.request == request; }) != 0;
  }
  /// \return a request of the delegate's, the caller's to release; nil when there is none left
  SKProductsRequest* RemoveOneOf(TillvaneStoreRequestDelegate* delegate) {
    const std::lock_guard lock(mutex_);
    const auto is_its = [delegate](const Request& one) { return one.delegate == delegate; };
    const auto found = std::find_if(requests_.begin(), requests_.end(), is_its);
    if (found == requests_.end()) return nil;
    SKProductsRequest* const request = found->request;
    requests_.erase(found);
    return request;
  }

 private:
  /// The request itself tells nobody the delegate that is about to end: it refers to it weakly.
  struct Request {
    SKProductsRequest* request;
    const TillvaneStoreRequestDelegate* delegate;
  };
  std::mutex mutex_;
  std::vector<Request> requests_;
};

/// Never destroyed, since a host may let go of its bridge while the program ends.
RequestsUnderWay& Requests() {
  static auto* const requests = new RequestsUnderWay;
  return *requests;
}

/// A request outlives its delegate in the store's hands.
void CancelRequestsOf(TillvaneStoreRequestDelegate* delegate) {
  while (SKProductsRequest* const request = Requests().RemoveOneOf(delegate)) {
    [request setDelegate:nil];
    [request cancel];
    [request release];
  }
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
  Requests().Add(request, self);
  [request setDelegate:self];
  [request start];
  store::WaitForProducts(soReceivedProductsInfo, *process);
}

- (void)productsRequest:(SKProductsRequest*)request didReceiveResponse:(SKProductsResponse*)response {
  if (![NSThread isMainThread]) {
    [self performSelectorOnMainThread:@selector(ReceiveAnswer:)
                           withObject:[NSArray arrayWithObjects:request, response, nil]
                        waitUntilDone:NO];
    return;
  }
  store::HandleProducts(Received{[response products], strProductID, &arrProducts, &strPrice, soReceivedProductsInfo});
  // Its own reference may be the last one, and the response the request's.
  if (Requests().Remove(request)) [request release];
}

/// \param answer the request and its response
- (void)ReceiveAnswer:(NSArray*)answer {
  [self productsRequest:[answer objectAtIndex:0] didReceiveResponse:[answer objectAtIndex:1]];
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
