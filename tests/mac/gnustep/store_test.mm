#include <objc/runtime.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/glib_sources.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/store_observer_mac.h>
#include <tillvane/platform/mac/store_request_delegate_mac.h>
#include <tillvane/store/TillvaneStore.h>

#include "live_objects.h"
#include "store_backend.h"

namespace {

using platform::AutoreleasePool;
using platform::StoreProduct;
using platform::TransactionState;
using Lines = std::vector<std::string>;

constexpr char kBase[] = "org.example.viewer";
const StoreProduct kViewer{"org.example.viewer.paid", "4.99", "USD", "en_US"};
const StoreProduct kCheaper{"org.example.viewer.paid", "1.99", "USD", "en_US"};
const StoreProduct kEditor{"org.example.editor.paid", "9.99", "USD", "en_US"};

std::unique_ptr<StoreBackend> MakeStoreKitBackend() { return std::make_unique<StoreKitBackend>(); }

INSTANTIATE_TEST_SUITE_P(StoreKit, StoreScenarios, testing::Values(&MakeStoreKitBackend),
                         [](const auto&) { return "Any"; });

/// In a pool of its own; what the test makes has ended with it.
class StoreKitTest : public testing::Test {
 protected:
  ~StoreKitTest() {
    pool_.reset();
    EXPECT_EQ(live_.Changes(), "");
  }

  LiveObjects live_;
  std::unique_ptr<AutoreleasePool> pool_ = std::make_unique<AutoreleasePool>();
  StoreKitBackend backend_;
  ScriptedStore& store_ = backend_.Store();
  PumpingProcess process_{backend_};
};

/// Ends with its scope.
template <class Kind>
struct Owned {
  Kind* const object = [[Kind alloc] init];
  ~Owned() { [object release]; }
};
using OwnedObserver = Owned<TillvaneStoreObserver>;

/// An observer in the queue.
struct ObserverAtWork : OwnedObserver {
  ObserverAtWork() { [[SKPaymentQueue defaultQueue] addTransactionObserver:object]; }
  ~ObserverAtWork() { [[SKPaymentQueue defaultQueue] removeTransactionObserver:object]; }
};
using OwnedDelegate = Owned<TillvaneStoreRequestDelegate>;

/// What an object keeps in one of its variables.
id Variable(id object, const char* name) {
  return object_getIvar(object, class_getInstanceVariable([object class], name));
}

std::string PriceOf(TillvaneStoreRequestDelegate* delegate) {
  std::array<char, 64> buffer{"untouched"};
  [delegate GetPrice:buffer.data()];
  return buffer.data();
}

/// Tells the delegate of a product, and returns when the other thread has ended.
void AnswerOnAnotherThread(TillvaneStoreRequestDelegate* delegate) {
  const auto answer = [delegate] {
    GSRegisterCurrentThread();
    {
      const AutoreleasePool pool;
      SKProductsRequest* const request = [[SKProductsRequest alloc] initWithProductIdentifiers:[NSSet set]];
      [delegate productsRequest:request didReceiveResponse:storekit::Response({kViewer})];
      [request release];
    }
    GSUnregisterCurrentThread();
  };
  std::thread(answer).join();
}

struct VariableCase {
  const char* name;
  const char* encoding;
};

void ExpectVariables(Class kind, const std::vector<VariableCase>& expected) {
  unsigned int count = 0;
  Ivar* const variables = class_copyIvarList(kind, &count);
  ASSERT_EQ(count, expected.size());
  std::ptrdiff_t last = 0;
  for (unsigned int i = 0; i < count; ++i) {
    EXPECT_STREQ(ivar_getName(variables[i]), expected[i].name);
    EXPECT_STREQ(ivar_getTypeEncoding(variables[i]), expected[i].encoding);
    EXPECT_GT(ivar_getOffset(variables[i]), last);
    last = ivar_getOffset(variables[i]);
  }
  free(variables);
}

constexpr char kSignalObject[] = R"({LSignalObject="filedes"[2i]})";

TEST(StoreClasses, VariablesOfTheObserver) {
  ExpectVariables([TillvaneStoreObserver class], {
    {"result", "i"}, { "soDone", kSignalObject }
  });
}

TEST(StoreClasses, VariablesOfTheRequestDelegate) {
  ExpectVariables([TillvaneStoreRequestDelegate class], {
    {"strProductID", "@\"NSString\""}, {"arrProducts", "@\"NSArray\""}, {"strPrice", "@\"NSString\""}, {
      "soReceivedProductsInfo", kSignalObject
    }
  });
}

TEST(StoreClasses, AreWhatTheStoreTalksTo) {
  Class const observer = [TillvaneStoreObserver class];
  Class const delegate = [TillvaneStoreRequestDelegate class];
  EXPECT_EQ(class_getSuperclass(observer), [NSObject class]);
  EXPECT_EQ(class_getSuperclass(delegate), [NSObject class]);
  EXPECT_TRUE(class_conformsToProtocol(observer, @protocol(SKPaymentTransactionObserver)));
  EXPECT_TRUE(class_conformsToProtocol(delegate, @protocol(SKProductsRequestDelegate)));
}

TEST_F(StoreKitTest, ANewObserverHoldsAFailure) {
  const OwnedObserver observer;
  EXPECT_EQ([observer.object GetResult], 3);
}

TEST_F(StoreKitTest, EveryEndOfATransactionHasItsMessage) {
  const struct {
    SEL message;
    long error_code;
    int result;
  } cases[] = {
      {@selector(completeTransaction:), 2, 0}, {@selector(restoreTransaction:), 2, 0},
      {@selector(failedTransaction:), 2, 1},   {@selector(failedTransaction:), 0, 3},
      {@selector(failedTransaction:), 3, 3},   {@selector(failedTransaction:), -2, 3},
  };
  const OwnedObserver observer;
  for (const auto& one : cases) {
    NSArray* const batch = storekit::Transactions({{1, TransactionState::kFailed, "", one.error_code}});
    [observer.object paymentQueue:[SKPaymentQueue defaultQueue] restoreCompletedTransactionsFailedWithError:nil];
    EXPECT_EQ([observer.object GetResult], 2);
    [observer.object performSelector:one.message withObject:[batch objectAtIndex:0]];
    EXPECT_EQ([observer.object GetResult], one.result) << sel_getName(one.message) << " " << one.error_code;
  }
}

TEST_F(StoreKitTest, AnEmptyBatchDoesNotEndTheWait) {
  const ObserverAtWork observer;
  store_.Say(ScriptedStore::Tell({}));
  [observer.object Process:&process_];
  EXPECT_EQ(process_.waits, std::vector{60000u});
  EXPECT_EQ(process_.answers, std::vector{2});
}

TEST_F(StoreKitTest, WhatIsFinalIsFinishedAndTheRestIsNot) {
  const ObserverAtWork observer;
  store_.log.clear();
  store_.Say(ScriptedStore::Tell({{1, TransactionState::kPurchased, "", 0},
                                  {2, TransactionState::kPurchasing, "", 0},
                                  {3, TransactionState::kFailed, "", 2},
                                  {4, TransactionState::kDeferred, "", 0},
                                  {5, TransactionState::kRestored, "", 0}}));
  [observer.object Process:&process_];
  EXPECT_EQ(store_.log, (Lines{"finish 1", "finish 3", "finish 5"}));
  EXPECT_EQ(process_.answers, std::vector{2});
  EXPECT_EQ([observer.object GetResult], 0);
}

TEST_F(StoreKitTest, ABridgeThatEndsTakesItsObserverOutOfTheQueueThatOwnsIt) {
  {
    const auto bridge = backend_.MakeBridge();
    EXPECT_EQ(store_.CountObservers(), 1u);
  }
  EXPECT_EQ(store_.CountObservers(), 0u);
}

TEST_F(StoreKitTest, WhatAProductsAnswerBrings) {
  const struct {
    const char* name;
    ScriptedStore::Products products;
    int wait;
    bool available;
    bool has_price;
    Lines payments;
  } cases[] = {
      {"none", {}, 2, false, false, {}},
      {"the product", {kViewer}, 0, true, true, {"payment org.example.viewer.paid 4.99"}},
      {"another", {kEditor}, 2, true, false, {}},
      {"the second of two", {kEditor, kViewer}, 0, true, true, {"payment org.example.viewer.paid 4.99"}},
      {"the bare base", {{kBase, "1", "USD", "en_US"}}, 2, true, false, {}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    process_.answers.clear();
    backend_.AnswerRequestsWith(one.products);
    const OwnedDelegate delegate;
    EXPECT_FALSE([delegate.object IsProductInfoAvailable]);
    [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
    EXPECT_EQ(process_.answers, std::vector{one.wait});
    EXPECT_EQ([delegate.object IsProductInfoAvailable] != NO, one.available);
    EXPECT_EQ(PriceOf(delegate.object), one.has_price ? backend_.PriceText(kViewer) : "untouched");
    store_.log.clear();
    [delegate.object Purchase];
    EXPECT_EQ(store_.log, one.payments);
  }
}

TEST_F(StoreKitTest, ThePriceIsTheProductsInItsOwnLocale) {
  backend_.Sell({{kViewer.identifier, "1234.5", "EUR", "de_DE"}});
  const OwnedDelegate delegate;
  [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  NSString* const price = Variable(delegate.object, "strPrice");
  EXPECT_TRUE([price hasPrefix:@"1.234,50"]) << [price UTF8String];
}

NSStringEncoding the_encoding = NSUTF8StringEncoding;
NSStringEncoding TheEncoding(id, SEL) { return the_encoding; }

IMP Implementation(NSStringEncoding (*function)(id, SEL)) {
  return reinterpret_cast<IMP>(reinterpret_cast<void (*)()>(function));
}

TEST_F(StoreKitTest, APriceIsWrittenInTheSystemsEncodingWithoutTheSignsThatItLacks) {
  backend_.Sell({{kViewer.identifier, "1234.5", "EUR", "de_DE"}});
  const OwnedDelegate delegate;
  [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  const std::string price = [Variable(delegate.object, "strPrice") UTF8String];
  ASSERT_EQ(price, "1.234,50\u00A0€");
  const Method asked = class_getClassMethod([NSString class], @selector(defaultCStringEncoding));
  const IMP before = method_setImplementation(asked, Implementation(&TheEncoding));
  the_encoding = NSUTF8StringEncoding;
  EXPECT_EQ(PriceOf(delegate.object), price);
  the_encoding = NSISOLatin1StringEncoding;
  const std::string written = PriceOf(delegate.object);
  method_setImplementation(asked, before);
  // What stands for the euro's sign is the system's choice.
  EXPECT_EQ(written.substr(0, 9), "1.234,50\xA0");
  EXPECT_EQ(written.find("€"), written.npos);
}

TEST_F(StoreKitTest, ThePriceAndItsTerminatorAreAllThatIsWritten) {
  backend_.Sell({kViewer});
  const OwnedDelegate delegate;
  std::string buffer(12, '#');
  [delegate.object GetPrice:buffer.data()];
  EXPECT_EQ(buffer, "############");
  [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  [delegate.object GetPrice:nullptr];
  [delegate.object GetPrice:buffer.data()];
  EXPECT_EQ(buffer, std::string("$4.99\0######", 12));
}

TEST_F(StoreKitTest, EveryRequestNamesItsOwnProduct) {
  const OwnedDelegate delegate;
  [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  [delegate.object GetProductInfo:nil usingInterface:&process_];
  [delegate.object GetProductInfo:[NSString stringWithUTF8String:"org.example.\xC3\xA4"] usingInterface:&process_];
  EXPECT_EQ(store_.log,
            (Lines{"request org.example.viewer.paid", "request .paid", "request org.example.\xC3\xA4.paid"}));
}

TEST_F(StoreKitTest, ABaseThatIsNoTextIsEmpty) {
  backend_.Sell({});
  const auto bridge = backend_.MakeBridge();
  store_.log.clear();
  std::array<char, 16> buffer{"untouched"};
  for (const char* base : {static_cast<const char*>(nullptr), "", "\xFF"}) {
    EXPECT_EQ(bridge->GetPrice(process_, buffer.data(), base), 1);
  }
  EXPECT_EQ(store_.log, (Lines{"request .paid", "request .paid", "request .paid"}));
  EXPECT_STREQ(buffer.data(), "untouched");
}

// Who owns what, and until when.

TEST_F(StoreKitTest, ARequestEndsWithItsAnswer) {
  backend_.Sell({kViewer});
  const OwnedDelegate delegate;
  {
    const AutoreleasePool pool;
    [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  }
  EXPECT_EQ(LiveObjects::Count([SKProductsRequest class]), 0);
  EXPECT_EQ(LiveObjects::Count([SKProductsResponse class]), 0);
}

TEST_F(StoreKitTest, ARequestThatIsNeverAnsweredIsCancelledWithItsDelegate) {
  backend_.HoldAnswers();
  {
    const AutoreleasePool pool;
    const OwnedDelegate kept;
    {
      const OwnedDelegate delegate;
      [kept.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
      [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
      [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
      EXPECT_EQ(LiveObjects::Count([SKProductsRequest class]), 3);
      EXPECT_EQ([delegate.object retainCount], 1u);
    }
    EXPECT_EQ(store_.CountRequests(), 1u) << "the other delegate's is still under way";
    EXPECT_EQ(LiveObjects::Count([SKProductsRequest class]), 1);
  }
  EXPECT_EQ(LiveObjects::Count([SKProductsRequest class]), 0);
  EXPECT_EQ(store_.CountRequests(), 0u);
  backend_.ReleaseAnswers();
  while (backend_.Pump()) {
  }
}

TEST_F(StoreKitTest, ASecondAnswerToARequestIsTakenInAndNothingReleased) {
  const OwnedDelegate delegate;
  backend_.HoldAnswers();
  [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  SKProductsRequest* const request = [[[SKProductsRequest alloc] initWithProductIdentifiers:[NSSet set]] autorelease];
  for (const StoreProduct& product : {kViewer, kCheaper}) {
    [delegate.object productsRequest:request didReceiveResponse:storekit::Response({product})];
    EXPECT_EQ(PriceOf(delegate.object), backend_.PriceText(product));
    EXPECT_EQ([request retainCount], 1u);
  }
}

TEST_F(StoreKitTest, AnAnswerOnAnotherThreadIsTakenInOnTheMainThread) {
  auto* const delegate = [[TillvaneStoreRequestDelegate alloc] init];
  backend_.HoldAnswers();
  [delegate GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  AnswerOnAnotherThread(delegate);
  EXPECT_FALSE([delegate IsProductInfoAvailable]);
  storekit::Pump();
  EXPECT_TRUE([delegate IsProductInfoAvailable]);
  EXPECT_EQ(PriceOf(delegate), backend_.PriceText(kViewer));
  [delegate release];
}

TEST_F(StoreKitTest, AnAnswerOnAnotherThreadMayComeWhenADelegateIsLetGo) {
  auto* const delegate = [[TillvaneStoreRequestDelegate alloc] init];
  backend_.HoldAnswers();
  [delegate GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  AnswerOnAnotherThread(delegate);
  [delegate release];
  EXPECT_EQ(store_.CountRequests(), 1u);
  storekit::Pump();
  EXPECT_EQ(store_.CountRequests(), 0u) << "it has ended with what it was told";
}

TEST_F(StoreKitTest, ADelegateOwnsWhatItKeepsOnce) {
  backend_.Sell({kViewer, kEditor});
  const OwnedDelegate delegate;
  {
    const AutoreleasePool pool;
    [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  }
  for (const char* name : {"strProductID", "arrProducts", "strPrice"}) {
    EXPECT_EQ([Variable(delegate.object, name) retainCount], 1u) << name;
  }
  EXPECT_EQ([[Variable(delegate.object, "arrProducts") objectAtIndex:0] retainCount], 1u) << "the array's";
  EXPECT_EQ(LiveObjects::Count([NSNumberFormatter class]), 0);
}

TEST_F(StoreKitTest, ALaterAnswerReplacesWhatIsKept) {
  const OwnedDelegate delegate;
  for (const ScriptedStore::Products& products : {ScriptedStore::Products{kViewer, kEditor}, {kEditor, kCheaper}}) {
    const AutoreleasePool pool;
    backend_.AnswerRequestsWith(products);
    [delegate.object GetProductInfo:@"org.example.viewer" usingInterface:&process_];
  }
  EXPECT_EQ(PriceOf(delegate.object), backend_.PriceText(kCheaper));
  EXPECT_EQ(LiveObjects::Count([SKProduct class]), 2);
}

TEST_F(StoreKitTest, TheKeptProductsAreACopy) {
  const OwnedDelegate delegate;
  SKProductsResponse* const response = storekit::Response({kViewer});
  [delegate.object productsRequest:nil didReceiveResponse:response];
  EXPECT_NE(Variable(delegate.object, "arrProducts"), [response products]);
  EXPECT_EQ([Variable(delegate.object, "arrProducts") count], 1u);
}

TEST_F(StoreKitTest, APurchaseLeavesNoPaymentBehind) {
  const AutoreleasePool pool;
  backend_.Sell({kViewer});
  const auto bridge = backend_.MakeBridge();
  std::array<char, 64> buffer{};
  bridge->GetPrice(process_, buffer.data(), kBase);
  EXPECT_EQ(bridge->Purchase(process_, false), 0);
  EXPECT_EQ(LiveObjects::Count([SKPayment class]), 0) << "the bridge brings a pool of its own";
  EXPECT_EQ(LiveObjects::Count([SKPaymentTransaction class]), 0);
}

TEST_F(StoreKitTest, ABridgeOwnsItsTwoListeners) {
  {
    const auto bridge = backend_.MakeBridge();
    EXPECT_EQ(LiveObjects::Count([TillvaneStoreObserver class]), 1);
    EXPECT_EQ(LiveObjects::Count([TillvaneStoreRequestDelegate class]), 1);
    EXPECT_EQ(store_.log, Lines{"add observer"});
    std::array<char, 64> buffer{};
    backend_.HoldAnswers();
    bridge->GetPrice(process_, buffer.data(), kBase);
    store_.log.clear();
  }
  EXPECT_EQ(store_.log, (Lines{"withdraw delegate", "withdraw observer"}));
  EXPECT_EQ(LiveObjects::Count([TillvaneStoreObserver class]), 0);
  EXPECT_EQ(LiveObjects::Count([TillvaneStoreRequestDelegate class]), 0);
}

// The exported functions, with the waits of a host's own kind: the run loop turns inside the events' loop.

class EventsProcess final : public LProcessInterfaceVoid, public LProcessEventsHandlerNeverStop {
 public:
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override {
    return ProcessWaitSignalAndProcessEvents(signal, ms);
  }
};

TEST_F(StoreKitTest, AHostSellsItselfWhileItsLoopTurns) {
  backend_.Sell({kViewer});
  const support::HostSource run_loop(1, [this] { backend_.Pump(); });
  EventsProcess process;
  const std::unique_ptr<TillvaneManager, void (*)(TillvaneManager*)> bridge(TillvaneInit(), &TillvaneDestroy);
  std::array<char, 64> price{"untouched"};
  EXPECT_EQ(TillvanePurchaseApplication(bridge.get(), process, false), 2) << "nothing is known of the product";
  EXPECT_EQ(TillvaneGetPrice(bridge.get(), process, price.data(), kBase), 1);
  EXPECT_EQ(price.data(), backend_.PriceText(kViewer));
  EXPECT_EQ(TillvanePurchaseApplication(bridge.get(), process, false), 0);
  EXPECT_EQ(TillvanePurchaseApplication(bridge.get(), process, false), 0);
  EXPECT_EQ(store_.Count("payment"), 1);
  backend_.AnswerRestores(RestoreScript::kNothingOwned);
  EXPECT_EQ(TillvanePurchaseApplication(bridge.get(), process, true), 1);
  EXPECT_EQ(store_.Count("restore"), 1);
}

TEST_F(StoreKitTest, NoBridgeIsNoCrash) {
  TillvaneDestroy(nullptr);
  for (const bool allowed : {false, true}) {
    store_.payments_allowed = allowed;
    EXPECT_EQ(TillvaneIsAbleToMakePayments(nullptr, process_), allowed);
    EXPECT_EQ(LiveObjects::Count([SKPayment class]), 0) << "what the system makes meanwhile ends with the call";
  }
  // The App Store asks itself.
  TillvaneSetPurchaseConfirmation([](const char*, const char*, void*) { return false; }, nullptr);
  TillvaneDecideDeferredPurchases(false);
}

}  // namespace
