#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <tillvane/platform/store_service.h>

namespace platform {

class LedgerDatabase;
class LedgerLock;
struct FileNumbers;

/// Every transaction of this application's store, kept in a folder, shared by any number of processes.
///
/// An answer of true means that what it says is on the disk. Synchronous: used by one thread at a time, which may wait
/// for the disk and, at most some seconds, for another process. After false nothing has changed, the arguments for
/// answers are as they were, Error() is one line that names the file, and the next call opens the ledger anew.
///
/// The folder holds `ledger.sqlite`, with a log and an index of that log beside it, and `ledger.lock`. A ledger that
/// proves corrupt is set aside under another name, as soon as no process has it open: the call that finds it answers
/// false, the next one starts a new ledger.
///
/// Each object is an instance of its own to the others, for as long as it lives, through errors too. Transactions
/// belong to the instance that noted them, until it ends and another one takes them over.
class StoreLedger {
 public:
  static constexpr int kBusyTimeoutMs = 5000;

  /// \param folder is made, for the user alone, when it is missing. Nothing is opened yet.
  /// \param busy_timeout_ms how long a step waits for another process
  explicit StoreLedger(std::string folder, int busy_timeout_ms = kBusyTimeoutMs);
  ~StoreLedger();
  StoreLedger(const StoreLedger&) = delete;
  StoreLedger& operator=(const StoreLedger&) = delete;

  /// Notes that a purchase begins.
  /// \param non_consumable is owned for ever once bought: another purchase of it is answered as purchased too, but is
  ///        recorded as a repetition of the first, the grant. There is one grant, however many processes buy at once.
  bool Begin(const std::string& product, bool non_consumable, StoreTransaction* transaction);

  /// Notes how a purchase of this instance goes on: purchased, failed (with a code), or deferred. One that is deferred
  /// may still be purchased or fail; one that is unknown, settled, or another instance's is refused.
  bool Settle(long long id, TransactionState state, long error_code, StoreTransaction* transaction);

  /// Notes that a final transaction has been dealt with. True for one that is unknown or finished already.
  bool Finish(long long id);

  /// The final transactions that nobody has finished, the oldest first: this instance's own, and those of instances
  /// that have ended, which become this one's. Purchases that an ended instance had only begun are closed: nobody paid.
  bool TakeUnfinished(std::vector<StoreTransaction>* transactions);

  /// Notes a restored transaction for every non-consumable product that is owned.
  bool Restore(std::vector<StoreTransaction>* transactions);

  /// Decides every deferred purchase, whoever made it: purchased, or failed as if the user had cancelled. The
  /// transactions become this instance's.
  bool DecideDeferred(bool approve, std::vector<StoreTransaction>* transactions);

  const std::string& Error() const { return error_; }

 private:
  using Work = std::function<bool(LedgerDatabase&)>;
  using Batch = std::vector<StoreTransaction>;

  bool Run(const Work& work);
  bool RunForBatch(const std::function<bool(LedgerDatabase&, Batch&)>& work, Batch* transactions);
  bool BeReady();
  bool BeAnInstance();
  bool Stop(std::unique_ptr<LedgerDatabase> database);
  void SetAside(const FileNumbers& damaged);
  bool Insert(LedgerDatabase& database, bool non_consumable, long long original, StoreTransaction* transaction);
  bool Change(LedgerDatabase& database, StoreTransaction* transaction);
  bool TakeOver(LedgerDatabase& database, long long owner);

  std::string folder_;
  std::string path_;
  int busy_timeout_ms_;
  std::string error_;
  std::unique_ptr<LedgerLock> lock_;  ///< outlives the database: without it the instance has ended
  long long number_ = 0;              ///< this instance's, once a call has succeeded
  std::unique_ptr<LedgerDatabase> database_;
};

}  // namespace platform
