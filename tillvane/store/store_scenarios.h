#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/platform/store_service.h>

/// \file
/// What a host sees of the bridge, as one suite for every store there is.
///
/// A backend stands up a store, and bridges to it. A test program runs the suite with
///
///     INSTANTIATE_TEST_SUITE_P(LocalStore, StoreScenarios, testing::Values(&MakeLocalStoreBackend));

/// One host's bridge; its end is TillvaneDestroy's.
class StoreBridge {
 public:
  virtual ~StoreBridge() = default;
  virtual int GetPrice(LProcessInterface& process, char* utf8, const char* base) = 0;
  virtual int Purchase(LProcessInterface& process, bool restore) = 0;
  virtual bool IsAbleToMakePayments(LProcessInterface& process) = 0;
};

/// A bridge made of any class with the members of TillvaneManager.
template <class Manager>
class StoreBridgeOf : public StoreBridge {
 public:
  template <class... Arguments>
  explicit StoreBridgeOf(Arguments&&... arguments) : manager_(arguments...) {}
  int GetPrice(LProcessInterface& process, char* utf8, const char* base) override {
    return manager_.GetPrice(process, utf8, base);
  }
  int Purchase(LProcessInterface& process, bool restore) override {
    return manager_.PurchaseApplication(process, restore);
  }
  bool IsAbleToMakePayments(LProcessInterface& process) override { return manager_.IsAbleToMakePayments(process); }

 private:
  Manager manager_;
};

/// How often the store was asked.
struct StoreCounts {
  long requests;
  long payments;
  long restores;
};

/// Null when the backend did it, else the reason why it cannot: the scenario is then skipped.
using Unable = const char*;

/// How a restore is to end.
enum class RestoreScript {
  kOwned,         ///< the sold product was bought earlier: a restored transaction, then the end of the restore
  kNothingOwned,  ///< the store answers that the restore failed
  kOnlyFinished,  ///< the end of the restore, without a transaction
};

/// A store that does what a scenario tells it. It begins empty, answers at once, and allows payments.
class StoreBackend {
 public:
  using Products = std::vector<platform::StoreProduct>;
  using Batch = std::vector<platform::StoreTransaction>;

  virtual ~StoreBackend() = default;

  virtual std::unique_ptr<StoreBridge> MakeBridge() = 0;
  /// Lets the store say what it has to say. \return false when nothing more is to be expected
  virtual bool Pump() = 0;
  /// Nothing where the backend does not count.
  virtual std::optional<StoreCounts> Counts() { return {}; }
  /// The price text that a host should see of a product.
  virtual std::string PriceText(const platform::StoreProduct& product) = 0;

  /// Sells these: a request is answered with those it asked for, an unknown identifier with none.
  virtual void Sell(const Products& products) = 0;
  /// From now on purchases end in this state.
  virtual Unable AnswerPurchases(platform::TransactionState state, long error_code) = 0;
  /// From now on restores end like this.
  virtual Unable AnswerRestores(RestoreScript script) = 0;
  virtual Unable AllowPayments(bool allowed) = 0;
  /// Answers requests with exactly these, whatever was asked for.
  virtual Unable AnswerRequestsWith(const Products& products);
  /// Keeps answers back until they are released.
  virtual Unable HoldAnswers();
  virtual Unable ReleaseAnswers();
  /// Tells the bridges of these, together, without having been asked.
  virtual Unable Deliver(const Batch& batch);
};

using StoreBackendFactory = std::unique_ptr<StoreBackend> (*)();

/// A host's process interface whose waits pump a backend. A wait for which the backend has nothing more to say runs
/// out at once, so that no test lasts as long as a host would wait.
class PumpingProcess final : public LProcessInterface {
 public:
  explicit PumpingProcess(StoreBackend& backend) : backend_(backend) {}

  bool stopped = false;             ///< waits end with a stop request, before anything is pumped
  std::vector<unsigned int> waits;  ///< the time that each wait was given
  std::vector<int> answers;         ///< what each wait answered
  std::vector<std::string> errors;

  bool IsToStop() override { return stopped; }
  bool ProcessWait(unsigned int ms) override;
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override;
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) override;
  void SetError(const char* text) override { errors.emplace_back(text); }

 private:
  int WaitFor(LSignalObjectRef signal);

  StoreBackend& backend_;
};

class StoreScenarios : public testing::TestWithParam<StoreBackendFactory> {
 protected:
  static constexpr char kBase[] = "org.example.viewer";
  static constexpr char kUntouched[] = "untouched";
  static const platform::StoreProduct& Viewer();

  void SetUp() override;

  /// Is there a reason that the backend cannot do this? The scenario is then skipped, and is to return.
  bool Lacks(Unable reason);

  /// Asks for the price with a fresh buffer. \return the buffer's text afterwards
  std::string Price(StoreBridge& bridge, const char* base = kBase);
  /// Makes a bridge whose product is loaded, and forgets how that was waited for.
  std::unique_ptr<StoreBridge> LoadedBridge();
  /// Asks for a purchase or a restore, and forgets the waits before it.
  int Purchase(StoreBridge& bridge, bool restore = false);

  /// The last call waited once for at most a minute, and the wait ended like this.
  void ExpectOneWait(int answer);
  void ExpectNoWait();
  void ExpectNoError() { EXPECT_EQ(process_->errors, std::vector<std::string>()); }
  void ExpectPurchaseFailedError();
  /// Where the backend counts.
  void ExpectCounts(StoreCounts expected);

  std::unique_ptr<StoreBackend> backend_;
  std::unique_ptr<PumpingProcess> process_;
};
