#include <array>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/seeded.h>
#include <tillvane/store/scripted_store.h>
#include <tillvane/store/tillvane_manager.h>

/// \file
/// The bridge against a model of it: the same events for both, and after each the same to be seen. The model is
/// written out by itself on purpose; it shares no rule with the bridge.

namespace {

using platform::StoreProduct;
using platform::StoreTransaction;
using platform::TransactionState;
using Batch = ScriptedStore::Batch;
using Products = ScriptedStore::Products;

// Without a locale a price is the amount and the currency's code, which is quicker than asking a locale.
const StoreProduct kViewer{"viewer.paid", "4.99", "USD", "?"};
const StoreProduct kCheaper{"viewer.paid", "1.99", "USD", "?"};
const StoreProduct kEditor{"editor.paid", "9.99", "USD", "?"};

/// One thing that the store says. Products answer every request that is under way.
struct Said {
  enum What { kProducts, kBatch, kRestoreFinished, kRestoreFailed } what;
  Products products;
  Batch batch;
};

/// One call of the host's, or none, and what the store says: as much as it takes to end the call's wait, then the rest.
struct Event {
  enum What { kPrice, kPurchase, kRestore, kNoCall } what;
  std::string base;
  std::vector<Said> said;
  bool stopped = false;  ///< the wait ends before the store says anything
};

/// All that a host and a store see of one event.
struct Seen {
  int answer = -1;
  std::string buffer = "untouched";
  std::vector<std::string> errors;
  std::vector<std::string> waits;
  std::vector<std::string> asked;  ///< the store's log

  bool operator==(const Seen&) const = default;
};

Said ProductsSaid(Products products) { return {Said::kProducts, std::move(products), {}}; }
Said BatchSaid(Batch batch) { return {Said::kBatch, {}, std::move(batch)}; }
StoreTransaction Transaction(int state, long error_code = 0) {
  return {10 + state, static_cast<TransactionState>(state), kViewer.identifier, error_code};
}

// In words, for a failure.

std::string Words(const Said& said) {
  std::string words = said.what == Said::kProducts          ? "products"
                      : said.what == Said::kBatch           ? "batch"
                      : said.what == Said::kRestoreFinished ? "restore finished"
                                                            : "restore failed";
  for (const StoreProduct& product : said.products) words += " " + product.identifier + "=" + product.price;
  for (const StoreTransaction& one : said.batch) {
    words += " " + std::to_string(static_cast<int>(one.state)) + "/" + std::to_string(one.error_code);
  }
  return words;
}

std::string Words(const Event& event) {
  constexpr std::array names{"price of ", "purchase", "restore", "no call"};
  std::string words = names[event.what] + event.base + (event.stopped ? ", stopped" : "");
  for (const Said& said : event.said) words += "; " + Words(said);
  return words;
}

std::string Words(const std::vector<std::string>& list) {
  std::string words = "[";
  for (const std::string& one : list) words += one + ", ";
  return words + "]";
}

std::string Words(const Seen& seen) {
  return "answer " + std::to_string(seen.answer) + ", buffer " + seen.buffer + ", errors " + Words(seen.errors) +
         ", waits " + Words(seen.waits) + ", asked " + Words(seen.asked);
}

/// What the bridge is held to.
class Model {
 public:
  Seen Play(const Event& event) {
    seen_ = {};
    said_.assign(event.said.begin(), event.said.end());
    if (event.what == Event::kPrice) AskPrice(event);
    if (event.what == Event::kPurchase || event.what == Event::kRestore) Buy(event);
    while (!said_.empty()) HearNext();
    return seen_;
  }

 private:
  void AskPrice(const Event& event) {
    if (!loaded_) {
      id_ = event.base + ".paid";
      seen_.asked.push_back("request " + id_);
      ++requests_;
      Wait(price_signalled_, event.stopped);
      price_signalled_ = false;
    }
    if (price_) seen_.buffer = *price_;
    seen_.answer = 1;
  }

  void Buy(const Event& event) {
    seen_.answer = 2;
    if (!loaded_) return;
    if (event.what == Event::kRestore) {
      seen_.asked.emplace_back("restore all");
    } else if (result_ == 0) {
      seen_.answer = 0;
      return;
    } else if (const StoreProduct* product = Find(*loaded_)) {
      seen_.asked.push_back("payment " + product->identifier + " " + product->price);
    }
    done_ = false;
    Wait(done_, event.stopped);
    if (result_ == 3) seen_.errors.emplace_back("Purchase failed for unknown reasons");
    constexpr std::array answers{0, 1, 1, 2};
    seen_.answer = answers.at(static_cast<std::size_t>(result_));
  }

  void Wait(const bool& signalled, bool stopped) {
    while (!signalled && !stopped && !said_.empty()) HearNext();
    seen_.waits.push_back(std::string("60000 ") + (signalled ? "0" : stopped ? "1" : "2"));
  }

  void HearNext() {
    const Said said = said_.front();
    said_.pop_front();
    switch (said.what) {
      case Said::kProducts:
        return HearProducts(said.products);
      case Said::kBatch:
        return HearBatch(said.batch);
      case Said::kRestoreFinished:
        return End(0);
      case Said::kRestoreFailed:
        return End(2);
    }
  }

  void HearProducts(const Products& products) {
    const int answered = requests_;
    requests_ = 0;
    if (answered == 0 || products.empty()) return;
    loaded_ = products;
    const StoreProduct* product = Find(products);
    if (product == nullptr) return;
    price_ = product->price + " USD";
    price_signalled_ = true;
  }

  void HearBatch(const Batch& batch) {
    std::size_t final_ones = 0;
    for (const StoreTransaction& one : batch) {
      const int state = static_cast<int>(one.state);
      if (state < 1 || state > 3) continue;
      result_ = state != 2 ? 0 : one.error_code == 2 ? 1 : 3;
      seen_.asked.push_back("finish " + std::to_string(one.id));
      ++final_ones;
    }
    if (final_ones > 0 && final_ones == batch.size()) done_ = true;
  }

  void End(int result) {
    result_ = result;
    done_ = true;
  }

  const StoreProduct* Find(const Products& products) const {
    for (const StoreProduct& product : products) {
      if (product.identifier == id_) return &product;
    }
    return nullptr;
  }

  std::string id_;
  std::optional<Products> loaded_;
  std::optional<std::string> price_;
  bool price_signalled_ = false;
  int result_ = 3;
  bool done_ = false;
  int requests_ = 0;
  std::deque<Said> said_;
  Seen seen_;
};

/// The bridge on the scripted store, and its host.
class Real final : public LProcessInterface {
 public:
  Seen Play(const Event& event) {
    seen_ = {};
    store_.log.clear();
    stopped_ = event.stopped;
    said_.assign(event.said.begin(), event.said.end());
    std::array<char, 32> buffer{"untouched"};
    if (event.what == Event::kPrice) seen_.answer = manager_.GetPrice(*this, buffer.data(), event.base.c_str());
    if (event.what == Event::kPurchase) seen_.answer = manager_.PurchaseApplication(*this, false);
    if (event.what == Event::kRestore) seen_.answer = manager_.PurchaseApplication(*this, true);
    seen_.buffer = buffer.data();
    while (!said_.empty()) SayNext();
    seen_.asked = store_.log;
    return seen_;
  }

  bool IsToStop() override { return stopped_; }
  bool ProcessWait(unsigned int) override { return stopped_; }
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override {
    while (!signal.IsSignaled() && !stopped_ && !said_.empty()) SayNext();
    const int ended = signal.IsSignaled() ? 0 : stopped_ ? 1 : 2;
    seen_.waits.push_back(std::to_string(ms) + " " + std::to_string(ended));
    return ended;
  }
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, unsigned int) override { return 2; }
  void SetError(const char* text) override { seen_.errors.emplace_back(text); }

 private:
  void SayNext() {
    const Said said = said_.front();
    said_.pop_front();
    switch (said.what) {
      case Said::kProducts:
        return store_.AnswerRequests(said.products);
      case Said::kBatch:
        return store_.TellObservers(ScriptedStore::Tell(said.batch));
      case Said::kRestoreFinished:
        return store_.TellObservers(ScriptedStore::TellRestoreFinished());
      case Said::kRestoreFailed:
        return store_.TellObservers(ScriptedStore::TellRestoreFailed());
    }
  }

  ScriptedStore store_;
  TillvaneManager manager_{store_};
  bool stopped_ = false;
  std::deque<Said> said_;
  Seen seen_;
};

/// Plays the events to both. \return an empty text, or where they part, with the events up to there
template <class EventAt>
std::string Difference(std::size_t count, EventAt event_at) {
  Model model;
  Real real;
  for (std::size_t i = 0; i < count; ++i) {
    const Seen expected = model.Play(event_at(i));
    const Seen seen = real.Play(event_at(i));
    if (seen == expected) continue;
    std::string words;
    for (std::size_t k = 0; k <= i; ++k) words += std::to_string(k + 1) + ". " + Words(event_at(k)) + "\n";
    return words + "is      " + Words(seen) + "\nwanted  " + Words(expected);
  }
  return {};
}

/// Everything that can happen, once.
std::vector<Event> EveryEvent() {
  const Said sold = ProductsSaid({kEditor, kViewer, kCheaper});
  const Said others = ProductsSaid({kEditor});
  const Said none = ProductsSaid({});
  const Said bought = BatchSaid({Transaction(1)});
  const Said cancelled = BatchSaid({Transaction(2, 2)});
  const Said failed = BatchSaid({Transaction(2)});
  const Said restored = BatchSaid({Transaction(3)});
  const Said begun = BatchSaid({Transaction(0)});
  const Said half = BatchSaid({Transaction(2, 2), Transaction(4)});
  const Said finished{Said::kRestoreFinished, {}, {}};
  const Said restore_failed{Said::kRestoreFailed, {}, {}};
  return {
      {Event::kPrice, "viewer", {sold}},       {Event::kPrice, "viewer", {others}},
      {Event::kPrice, "viewer", {none}},       {Event::kPrice, "viewer", {}},
      {Event::kPrice, "editor", {sold}, true}, {Event::kPurchase, "", {begun, bought}},
      {Event::kPurchase, "", {cancelled}},     {Event::kPurchase, "", {failed}},
      {Event::kPurchase, "", {half}},          {Event::kPurchase, "", {}},
      {Event::kPurchase, "", {bought}, true},  {Event::kRestore, "", {restored, finished}},
      {Event::kRestore, "", {restore_failed}}, {Event::kRestore, "", {}},
      {Event::kNoCall, "", {bought}},          {Event::kNoCall, "", {failed}},
      {Event::kNoCall, "", {BatchSaid({})}},   {Event::kNoCall, "", {sold}},
  };
}

TEST(StoreModelTest, EveryOrderOfFourEvents) {
  constexpr std::size_t depth = 4;
  const std::vector<Event> events = EveryEvent();
  std::array<std::size_t, depth> order{};
  for (;;) {
    const std::string difference = Difference(depth, [&](std::size_t i) -> const Event& { return events[order[i]]; });
    ASSERT_EQ(difference, "");
    std::size_t i = 0;
    while (i < depth && ++order[i] == events.size()) order[i++] = 0;
    if (i == depth) return;
  }
}

class SeededEvents : public support::Seeded {
 public:
  using Seeded::Seeded;

  Event Next() {
    Event event{static_cast<Event::What>(Below(4)), "", {}};
    if (event.what == Event::kPrice) event.base = Below(3) == 0 ? "editor" : "viewer";
    for (std::size_t count = Below(4); count > 0; --count) event.said.push_back(NextSaid());
    event.stopped = Below(8) == 0;
    return event;
  }

 private:
  Said NextSaid() {
    Said said{static_cast<Said::What>(Below(4)), {}, {}};
    const std::array products{kViewer, kCheaper, kEditor};
    const std::size_t count = Below(4);
    if (said.what == Said::kProducts) {
      for (std::size_t i = 0; i < count; ++i) said.products.push_back(products[Below(products.size())]);
    }
    if (said.what == Said::kBatch) {
      for (std::size_t i = 0; i < count; ++i) {
        said.batch.push_back(Transaction(static_cast<int>(Below(6)), static_cast<long>(Below(4))));
      }
    }
    return said;
  }
};

TEST(StoreModelTest, LongOrdersAtRandom) {
  constexpr std::size_t length = 40;
  for (unsigned int seed = 0; seed < 1000; ++seed) {
    SeededEvents seeded(seed);
    std::vector<Event> events;
    for (std::size_t i = 0; i < length; ++i) events.push_back(seeded.Next());
    const std::string difference = Difference(length, [&](std::size_t i) -> const Event& { return events[i]; });
    ASSERT_EQ(difference, "") << "seed " << seed;
  }
}

}  // namespace
