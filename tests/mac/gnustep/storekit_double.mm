#include "storekit_double.h"

#include <map>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/money_mac.h>

using platform::AutoreleasePool;
using platform::StoreProduct;
using platform::StoreTransaction;

namespace {

ScriptedStore* the_store = nullptr;

NSString* Text(const std::string& utf8) { return [NSString stringWithUTF8String:utf8.c_str()]; }

class RequestHearing final : public platform::ProductsRequestDelegate {
 public:
  explicit RequestHearing(SKProductsRequest* request) : request_(request) {}
  void ProductsReceived(const std::vector<StoreProduct>& products) override;

 private:
  SKProductsRequest* request_;
};

class QueueHearing final : public platform::TransactionObserver {
 public:
  explicit QueueHearing(id<SKPaymentTransactionObserver> observer) : observer_(observer) {
    the_store->AddTransactionObserver(*this);
  }
  ~QueueHearing() { the_store->Withdraw(*this); }
  void UpdatedTransactions(const std::vector<StoreTransaction>& transactions) override {
    [observer_ paymentQueue:[SKPaymentQueue defaultQueue] updatedTransactions:storekit::Transactions(transactions)];
  }
  void RestoreFinished() override {
    [observer_ paymentQueueRestoreCompletedTransactionsFinished:[SKPaymentQueue defaultQueue]];
  }
  void RestoreFailed() override {
    NSError* const error = [NSError errorWithDomain:@"SKErrorDomain" code:SKErrorPaymentCancelled userInfo:nil];
    [observer_ paymentQueue:[SKPaymentQueue defaultQueue] restoreCompletedTransactionsFailedWithError:error];
  }

 private:
  id<SKPaymentTransactionObserver> observer_;
};

using QueueHearings = std::map<id, std::unique_ptr<QueueHearing>>;
QueueHearings& Observers() {
  static QueueHearings observers;
  return observers;
}

}  // namespace

@interface SKProduct (Double)
- (id)initWithRecord:(const StoreProduct*)product;
- (StoreProduct)record;
@end

@implementation SKProduct

- (id)initWithRecord:(const StoreProduct*)product {
  self = [super init];
  identifier_ = [Text(product->identifier) retain];
  price_ = [[NSDecimalNumber alloc] initWithString:Text(product->price)];
  locale_ = [[NSLocale alloc] initWithLocaleIdentifier:Text(product->price_locale + "@currency=" + product->currency)];
  return self;
}

- (void)dealloc {
  [identifier_ release];
  [price_ release];
  [locale_ release];
  [super dealloc];
}

- (NSString*)productIdentifier {
  return identifier_;
}
- (NSDecimalNumber*)price {
  return price_;
}
- (NSLocale*)priceLocale {
  return locale_;
}
- (StoreProduct)record {
  return {[identifier_ UTF8String], [[price_ description] UTF8String], "", ""};
}

@end

@implementation SKRequest

- (void)setDelegate:(id<SKProductsRequestDelegate>)delegate {
  delegate_ = delegate;
}
- (void)start {
}
- (void)cancel {
}

@end

@interface SKProductsRequest (Double)
- (void)receive:(const std::vector<StoreProduct>*)products;
- (void)end;
@end

@implementation SKProductsRequest

- (id)initWithProductIdentifiers:(NSSet*)identifiers {
  self = [super init];
  identifiers_ = [identifiers copy];
  return self;
}

- (void)dealloc {
  EXPECT_EQ(hearing_, nullptr) << "released although it is under way";
  [identifiers_ release];
  [super dealloc];
}

- (void)start {
  EXPECT_EQ([identifiers_ count], 1u);
  [self retain];
  auto* const hearing = new RequestHearing(self);
  hearing_ = hearing;
  the_store->StartProductsRequest([[identifiers_ anyObject] UTF8String], *hearing);
}

- (void)cancel {
  if (hearing_ == nullptr) return;
  the_store->Withdraw(*static_cast<RequestHearing*>(hearing_));
  [self end];
}

- (void)receive:(const std::vector<StoreProduct>*)products {
  [delegate_ productsRequest:self didReceiveResponse:storekit::Response(*products)];
  [self end];
}

- (void)end {
  delete static_cast<RequestHearing*>(hearing_);
  hearing_ = nullptr;
  [self release];
}

@end

void RequestHearing::ProductsReceived(const std::vector<StoreProduct>& products) { [request_ receive:&products]; }

@interface SKProductsResponse (Double)
- (id)initWithProducts:(NSArray*)products;
@end

@implementation SKProductsResponse

- (id)initWithProducts:(NSArray*)products {
  self = [super init];
  products_ = [products retain];
  return self;
}

- (void)dealloc {
  [products_ release];
  [super dealloc];
}

- (NSArray*)products {
  return products_;
}

@end

@interface SKPayment (Double)
- (id)initWithProduct:(SKProduct*)product;
- (SKProduct*)product;
@end

@implementation SKPayment

+ (id)paymentWithProduct:(SKProduct*)product {
  return [[[SKPayment alloc] initWithProduct:product] autorelease];
}

- (id)initWithProduct:(SKProduct*)product {
  self = [super init];
  product_ = [product retain];
  return self;
}

- (void)dealloc {
  [product_ release];
  [super dealloc];
}

- (SKProduct*)product {
  return product_;
}

@end

@interface SKPaymentTransaction (Double)
- (id)initWithTransaction:(const StoreTransaction*)transaction;
- (long long)number;
@end

@implementation SKPaymentTransaction

- (id)initWithTransaction:(const StoreTransaction*)transaction {
  self = [super init];
  id_ = transaction->id;
  state_ = static_cast<SKPaymentTransactionState>(transaction->state);
  error_ = [[NSError alloc] initWithDomain:@"SKErrorDomain" code:transaction->error_code userInfo:nil];
  return self;
}

- (void)dealloc {
  [error_ release];
  [super dealloc];
}

- (SKPaymentTransactionState)transactionState {
  return state_;
}
- (NSError*)error {
  return error_;
}
- (long long)number {
  return id_;
}

@end

@implementation SKPaymentQueue

+ (BOOL)canMakePayments {
  // As a system does that looks the answer up.
  [[[SKPayment alloc] init] autorelease];
  return the_store->CanMakePayments();
}

+ (id)defaultQueue {
  static SKPaymentQueue* const queue = [[SKPaymentQueue alloc] init];
  return queue;
}

- (void)addPayment:(SKPayment*)payment {
  the_store->AddPayment([[payment product] record]);
}

- (void)finishTransaction:(SKPaymentTransaction*)transaction {
  EXPECT_NE([transaction transactionState], SKPaymentTransactionStatePurchasing) << "StoreKit throws";
  the_store->FinishTransaction({[transaction number], {}, {}, 0});
}

- (void)restoreCompletedTransactions {
  the_store->RestoreCompletedTransactions();
}

- (void)addTransactionObserver:(id<SKPaymentTransactionObserver>)observer {
  if (Observers().contains(observer)) return;
  [observer retain];
  Observers()[observer] = std::make_unique<QueueHearing>(observer);
}

- (void)removeTransactionObserver:(id<SKPaymentTransactionObserver>)observer {
  if (Observers().erase(observer) != 0) [observer release];
}

@end

/// What StoreKit leaves for the main thread.
@interface StoreKitDelivery : NSObject {
 @public
  bool ended;
  bool has_said_something;
}
- (void)deliver;
@end

@implementation StoreKitDelivery

- (void)deliver {
  has_said_something = the_store->Pump();
  ended = true;
}

@end

namespace storekit {

void PlayedBy(ScriptedStore* store) {
  EXPECT_TRUE(Observers().empty()) << "somebody has ended and still observes";
  the_store = store;
}

bool Pump() {
  const AutoreleasePool pool;
  StoreKitDelivery* const delivery = [[[StoreKitDelivery alloc] init] autorelease];
  [delivery performSelectorOnMainThread:@selector(deliver) withObject:nil waitUntilDone:NO];
  while (!delivery->ended) [[NSRunLoop mainRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate date]];
  return delivery->has_said_something;
}

std::string PriceText(const StoreProduct& product) {
  const AutoreleasePool pool;
  SKProduct* const sold = Product(product);
  return [[platform::NewMoneyText([sold price], [sold priceLocale]) autorelease] UTF8String];
}

SKProduct* Product(const StoreProduct& product) { return [[[SKProduct alloc] initWithRecord:&product] autorelease]; }

SKProductsResponse* Response(const std::vector<StoreProduct>& products) {
  NSMutableArray* const list = [NSMutableArray array];
  for (const StoreProduct& product : products) [list addObject:Product(product)];
  return [[[SKProductsResponse alloc] initWithProducts:list] autorelease];
}

NSArray* Transactions(const std::vector<StoreTransaction>& transactions) {
  NSMutableArray* const list = [NSMutableArray array];
  for (const StoreTransaction& one : transactions) {
    [list addObject:[[[SKPaymentTransaction alloc] initWithTransaction:&one] autorelease]];
  }
  return list;
}

}  // namespace storekit
