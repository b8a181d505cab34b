#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <tillvane/platform/store_service.h>

/// A store for tests: it answers from a script, in memory, and only when it is pumped. Main thread.
class ScriptedStore : public platform::StoreService {
 public:
  using Products = std::vector<platform::StoreProduct>;
  using Batch = std::vector<platform::StoreTransaction>;
  /// One thing that the store says to every observer there is by then.
  using Telling = std::function<void(platform::TransactionObserver&)>;
  using Tellings = std::vector<Telling>;

  static Telling Tell(Batch batch) {
    return [batch = std::move(batch)](platform::TransactionObserver& observer) { observer.UpdatedTransactions(batch); };
  }
  static Telling TellRestoreFinished() {
    return [](platform::TransactionObserver& observer) { observer.RestoreFinished(); };
  }
  static Telling TellRestoreFailed() {
    return [](platform::TransactionObserver& observer) { observer.RestoreFailed(); };
  }

  // The script. A request without an entry here is never answered.
  std::function<Products(const std::string& identifier)> on_request;
  Tellings on_payment;
  Tellings on_restore;
  bool payments_allowed = true;
  bool holds = false;  ///< answers wait for Release()

  /// What the store was asked, a line each: a word, and what it was about.
  std::vector<std::string> log;

  /// Says something that nobody asked for.
  void Say(const Telling& telling) {
    answers_.emplace_back([this, telling] { TellObservers(telling); });
  }
  /// Answers every request that is under way with these.
  void AnswerRequests(const Products& products) {
    for (const auto& [request, delegate] : std::map(requests_)) Answer(request, products);
  }
  void Release() {
    holds = false;
    std::move(held_.begin(), held_.end(), std::back_inserter(answers_));
    held_.clear();
  }
  /// Delivers one answer. \return false when there is none
  bool Pump() {
    if (answers_.empty()) return false;
    const std::function<void()> answer = std::move(answers_.front());
    answers_.pop_front();
    answer();
    return true;
  }
  void PumpAll() {
    while (Pump()) {
    }
  }
  void TellObservers(const Telling& telling) {
    for (platform::TransactionObserver* observer : std::vector(observers_)) telling(*observer);
  }

  std::size_t CountRequests() const { return requests_.size(); }
  std::size_t CountObservers() const { return observers_.size(); }
  /// How many lines of the log begin with this word.
  long Count(const std::string& word) const {
    return std::count_if(log.begin(), log.end(), [&](const auto& line) { return line.rfind(word + " ", 0) == 0; });
  }

  void StartProductsRequest(const std::string& identifier, platform::ProductsRequestDelegate& delegate) override {
    log.push_back("request " + identifier);
    const int request = ++last_request_;
    requests_[request] = &delegate;
    if (!on_request) return;
    const Products products = on_request(identifier);
    Queue([this, request, products] { Answer(request, products); });
  }
  void Withdraw(platform::ProductsRequestDelegate& delegate) override {
    log.emplace_back("withdraw delegate");
    std::erase_if(requests_, [&](const auto& one) { return one.second == &delegate; });
  }
  void AddTransactionObserver(platform::TransactionObserver& observer) override {
    log.emplace_back("add observer");
    observers_.push_back(&observer);
  }
  void Withdraw(platform::TransactionObserver& observer) override {
    log.emplace_back("withdraw observer");
    std::erase(observers_, &observer);
  }
  void AddPayment(const platform::StoreProduct& product) override {
    log.push_back("payment " + product.identifier + " " + product.price);
    QueueTellings(on_payment);
  }
  void FinishTransaction(const platform::StoreTransaction& transaction) override {
    log.push_back("finish " + std::to_string(transaction.id));
  }
  void RestoreCompletedTransactions() override {
    log.emplace_back("restore all");
    QueueTellings(on_restore);
  }
  bool CanMakePayments() override {
    log.emplace_back("ask payments");
    return payments_allowed;
  }

 private:
  void Queue(std::function<void()> answer) { (holds ? held_ : answers_).push_back(std::move(answer)); }
  void QueueTellings(const Tellings& tellings) {
    for (const Telling& telling : tellings) Queue([this, telling] { TellObservers(telling); });
  }
  void Answer(int request, const Products& products) {
    const auto found = requests_.find(request);
    if (found == requests_.end()) return;
    platform::ProductsRequestDelegate* const delegate = found->second;
    requests_.erase(found);
    delegate->ProductsReceived(products);
  }

  int last_request_ = 0;
  std::map<int, platform::ProductsRequestDelegate*> requests_;
  std::vector<platform::TransactionObserver*> observers_;
  std::deque<std::function<void()>> answers_;
  std::deque<std::function<void()>> held_;
};
