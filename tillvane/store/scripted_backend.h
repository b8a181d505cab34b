#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tillvane/platform/money.h>
#include <tillvane/store/scripted_store.h>
#include <tillvane/store/store_scenarios.h>
#include <tillvane/store/tillvane_manager.h>

/// The scenarios' backend on the scripted store, whoever listens to it.
class ScriptedAnswers : public StoreBackend {
 public:
  ScriptedAnswers() {
    store_.on_request = [](const std::string&) { return Products(); };
    AnswerPurchasesWith(platform::TransactionState::kPurchased, 0);
  }
  bool Pump() override { return store_.Pump(); }
  std::optional<StoreCounts> Counts() override {
    return StoreCounts{store_.Count("request"), store_.Count("payment"), store_.Count("restore")};
  }
  void Sell(const Products& products) override {
    store_.on_request = [products](const std::string& identifier) {
      Products answer = products;
      std::erase_if(answer, [&](const auto& one) { return one.identifier != identifier; });
      return answer;
    };
  }
  Unable AnswerPurchases(platform::TransactionState state, long error_code) override {
    AnswerPurchasesWith(state, error_code);
    return nullptr;
  }
  Unable AnswerRestores(RestoreScript script) override {
    store_.on_restore.clear();
    if (script == RestoreScript::kOwned) {
      store_.on_restore.push_back(ScriptedStore::Tell({{2, platform::TransactionState::kRestored, kProduct, 0}}));
    }
    store_.on_restore.push_back(script == RestoreScript::kNothingOwned ? ScriptedStore::TellRestoreFailed()
                                                                       : ScriptedStore::TellRestoreFinished());
    return nullptr;
  }
  Unable AllowPayments(bool allowed) override {
    store_.payments_allowed = allowed;
    return nullptr;
  }
  Unable AnswerRequestsWith(const Products& products) override {
    store_.on_request = [products](const std::string&) { return products; };
    return nullptr;
  }
  Unable HoldAnswers() override {
    store_.holds = true;
    return nullptr;
  }
  Unable ReleaseAnswers() override {
    store_.Release();
    return nullptr;
  }
  Unable Deliver(const Batch& batch) override {
    store_.Say(ScriptedStore::Tell(batch));
    return nullptr;
  }

  ScriptedStore& Store() { return store_; }

 private:
  void AnswerPurchasesWith(platform::TransactionState state, long error_code) {
    store_.on_payment = {ScriptedStore::Tell({{1, platform::TransactionState::kPurchasing, kProduct, 0}}),
                         ScriptedStore::Tell({{1, state, kProduct, error_code}})};
  }

  static constexpr char kProduct[] = "org.example.viewer.paid";

  ScriptedStore store_;
};

/// Bridges whose listeners are C++ listen to the scripted store itself.
class ScriptedBackend final : public ScriptedAnswers {
 public:
  std::unique_ptr<StoreBridge> MakeBridge() override {
    return std::make_unique<StoreBridgeOf<TillvaneManager>>(Store());
  }
  std::string PriceText(const platform::StoreProduct& product) override {
    return platform::FormatMoney(product.price, product.currency, product.price_locale);
  }
};
