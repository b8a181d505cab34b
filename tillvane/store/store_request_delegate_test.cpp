#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/platform/money.h>
#include <tillvane/store/scripted_backend.h>
#include <tillvane/store/store_request_delegate.h>

namespace {

using platform::StoreProduct;
using Lines = std::vector<std::string>;
using Products = ScriptedStore::Products;

constexpr char kBase[] = "org.example.viewer";
const StoreProduct kViewer{"org.example.viewer.paid", "4.99", "USD", "en_US"};
const StoreProduct kCheaper{"org.example.viewer.paid", "1.99", "USD", "en_US"};
const StoreProduct kEditor{"org.example.editor.paid", "9.99", "USD", "en_US"};

class StoreRequestDelegateTest : public testing::Test {
 protected:
  ScriptedBackend backend_;
  ScriptedStore& store_ = backend_.Store();
  PumpingProcess process_{backend_};
};

std::string PriceOf(const TillvaneStoreRequestDelegate& delegate) {
  std::array<char, 64> buffer{"untouched"};
  delegate.GetPrice(buffer.data());
  return buffer.data();
}

TEST_F(StoreRequestDelegateTest, WhatAProductsAnswerBrings) {
  const struct {
    const char* name;
    Products products;
    int wait;
    bool available;
    std::string price;
    Lines payments;
  } cases[] = {
      {"none", {}, 2, false, "untouched", {}},
      {"the product", {kViewer}, 0, true, "$4.99", {"payment org.example.viewer.paid 4.99"}},
      {"another", {kEditor}, 2, true, "untouched", {}},
      {"the second of two", {kEditor, kViewer}, 0, true, "$4.99", {"payment org.example.viewer.paid 4.99"}},
      {"two of the same", {kCheaper, kEditor, kViewer}, 0, true, "$1.99", {"payment org.example.viewer.paid 1.99"}},
      {"the bare base", {{kBase, "1", "USD", "en_US"}}, 2, true, "untouched", {}},
      {"other letters", {{"Org.Example.Viewer.paid", "1", "USD", "en_US"}}, 2, true, "untouched", {}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    process_.answers.clear();
    backend_.AnswerRequestsWith(one.products);
    TillvaneStoreRequestDelegate delegate(store_);
    EXPECT_FALSE(delegate.IsProductInfoAvailable());
    delegate.GetProductInfo(kBase, &process_);
    EXPECT_EQ(process_.answers, std::vector{one.wait});
    EXPECT_EQ(delegate.IsProductInfoAvailable(), one.available);
    EXPECT_EQ(PriceOf(delegate), one.price);
    store_.log.clear();
    delegate.Purchase();
    EXPECT_EQ(store_.log, one.payments);
  }
}

TEST_F(StoreRequestDelegateTest, ThePriceIsWrittenInTheProductsOwnLocale) {
  backend_.AnswerRequestsWith({{kViewer.identifier, "1234.5", "EUR", "de_DE"}});
  TillvaneStoreRequestDelegate delegate(store_);
  delegate.GetProductInfo(kBase, &process_);
  EXPECT_EQ(PriceOf(delegate), platform::FormatMoney("1234.5", "EUR", "de_DE"));
  EXPECT_EQ(PriceOf(delegate).find("1.234,50"), 0u) << PriceOf(delegate);
}

TEST_F(StoreRequestDelegateTest, ThePriceAndItsTerminatorAreAllThatIsWritten) {
  backend_.Sell({kViewer});
  TillvaneStoreRequestDelegate delegate(store_);
  std::string buffer(12, '#');
  delegate.GetPrice(buffer.data());
  EXPECT_EQ(buffer, "############");
  delegate.GetProductInfo(kBase, &process_);
  delegate.GetPrice(buffer.data());
  EXPECT_EQ(buffer, std::string("$4.99\0######", 12));
}

TEST_F(StoreRequestDelegateTest, EveryRequestNamesItsOwnProduct) {
  TillvaneStoreRequestDelegate delegate(store_);
  delegate.GetProductInfo(kBase, &process_);
  delegate.GetProductInfo("", &process_);
  delegate.GetProductInfo(nullptr, &process_);
  delegate.GetProductInfo("org.example.\xC3\xA4", &process_);
  EXPECT_EQ(store_.log, (Lines{"request org.example.viewer.paid", "request .paid", "request .paid",
                               "request org.example.\xC3\xA4.paid"}));
  EXPECT_EQ(process_.waits, std::vector(4, 60000u));
}

TEST_F(StoreRequestDelegateTest, ARequestsSignalIsResetAfterItsWait) {
  TillvaneStoreRequestDelegate delegate(store_);
  backend_.Sell({kViewer});
  delegate.GetProductInfo(kBase, &process_);
  store_.holds = true;
  delegate.GetProductInfo(kBase, &process_);
  store_.Release();
  store_.PumpAll();
  // That answer came after its wait: it ends the next one, which resets it.
  store_.holds = true;
  delegate.GetProductInfo(kBase, &process_);
  delegate.GetProductInfo(kBase, &process_);
  EXPECT_EQ(process_.answers, (std::vector{0, 2, 0, 2}));
}

TEST_F(StoreRequestDelegateTest, LaterAnswersReplaceWhatTheyBring) {
  TillvaneStoreRequestDelegate delegate(store_);
  backend_.Sell({kViewer});
  delegate.GetProductInfo(kBase, &process_);
  const struct {
    const char* name;
    Products products;
    std::string price;
    long payments;
  } cases[] = {
      {"nothing replaces nothing", {}, "$4.99", 1},
      {"no match keeps the price, but there is nothing to buy", {kEditor}, "$4.99", 0},
      {"another price", {kCheaper}, "$1.99", 1},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    store_.log.clear();
    delegate.ProductsReceived(one.products);
    EXPECT_TRUE(delegate.IsProductInfoAvailable());
    EXPECT_EQ(PriceOf(delegate), one.price);
    delegate.Purchase();
    EXPECT_EQ(store_.Count("payment"), one.payments);
  }
}

TEST_F(StoreRequestDelegateTest, AnAnswerIsComparedWithTheLatestQuestion) {
  TillvaneStoreRequestDelegate delegate(store_);
  store_.on_request = nullptr;
  delegate.GetProductInfo("org.example.editor", &process_);
  delegate.GetProductInfo(kBase, &process_);
  delegate.ProductsReceived({kEditor});
  EXPECT_EQ(PriceOf(delegate), "untouched");
  delegate.ProductsReceived({kEditor, kViewer});
  EXPECT_EQ(PriceOf(delegate), "$4.99");
}

}  // namespace
