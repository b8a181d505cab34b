#include <tillvane/platform/linux/store_ledger_linux.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>

#include <tillvane/platform/linux/store_ledger_database_linux.h>
#include <tillvane/platform/linux/store_ledger_files_linux.h>
#include <tillvane/platform/linux/store_ledger_lock_linux.h>

namespace platform {

namespace {

// The statements below, and the ledger's indexes, name the states by these numbers.
static_assert(static_cast<int>(TransactionState::kPurchasing) == 0);
static_assert(static_cast<int>(TransactionState::kPurchased) == 1);
static_assert(static_cast<int>(TransactionState::kFailed) == 2);
static_assert(static_cast<int>(TransactionState::kRestored) == 3);
static_assert(static_cast<int>(TransactionState::kDeferred) == 4);

/// What the rules ask of a transaction.
struct Row {
  bool found = false;
  TransactionState state = TransactionState::kPurchasing;
  bool finished = false;
  long long owner = 0;
};

StoreTransaction ReadTransaction(const LedgerStatement& statement) {
  return {statement.Integer(0), static_cast<TransactionState>(statement.Integer(1)), statement.Text(2),
          static_cast<long>(statement.Integer(3))};
}

bool ReadBatch(LedgerStatement& statement, std::vector<StoreTransaction>& batch) {
  while (statement.Next()) batch.push_back(ReadTransaction(statement));
  return statement.Finish();
}

bool ReadRow(LedgerDatabase& database, long long id, Row* row) {
  LedgerStatement statement(database, "SELECT state, finished, owner FROM transactions WHERE id = ?1");
  statement.Bind(id);
  if (statement.Next()) {
    *row = {true, static_cast<TransactionState>(statement.Integer(0)), statement.Integer(1) != 0, statement.Integer(2)};
  }
  return statement.Finish();
}

bool IsFinal(TransactionState state) {
  return state != TransactionState::kPurchasing && state != TransactionState::kDeferred;
}

bool IsNext(TransactionState from, TransactionState to) {
  if (to == TransactionState::kPurchased || to == TransactionState::kFailed) return !IsFinal(from);
  return from == TransactionState::kPurchasing && to == TransactionState::kDeferred;
}

std::string TransactionNamed(long long id) { return "transaction " + std::to_string(id); }

/// One line, whatever a path or a reason holds.
std::string OneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return text;
}

/// The host may change its working folder later.
std::string AbsoluteFolder(std::string folder) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(folder, error);
  return error ? folder : path.string();
}

}  // namespace

StoreLedger::StoreLedger(std::string folder, int busy_timeout_ms)
    : folder_(AbsoluteFolder(std::move(folder))),
      path_(folder_ + "/ledger.sqlite"),
      busy_timeout_ms_(busy_timeout_ms) {}

StoreLedger::~StoreLedger() = default;

bool StoreLedger::Begin(const std::string& product, bool non_consumable, StoreTransaction* transaction) {
  StoreTransaction begun{0, TransactionState::kPurchasing, product, 0};
  if (!Run([&](LedgerDatabase& database) { return Insert(database, non_consumable, 0, &begun); })) return false;
  *transaction = std::move(begun);
  return true;
}

bool StoreLedger::Settle(long long id, TransactionState state, long error_code, StoreTransaction* transaction) {
  StoreTransaction settled{id, state, {}, state == TransactionState::kFailed ? error_code : 0};
  const bool done = Run([&](LedgerDatabase& database) {
    Row row;
    if (!ReadRow(database, id, &row)) return false;
    if (!row.found) return database.Fail(TransactionNamed(id) + " is unknown");
    if (row.owner != lock_->Number()) return database.Fail(TransactionNamed(id) + " belongs to another process");
    if (IsFinal(row.state)) return database.Fail(TransactionNamed(id) + " is settled already");
    if (!IsNext(row.state, state)) return database.Fail(TransactionNamed(id) + " cannot go on like that");
    return Change(database, &settled);
  });
  if (done) *transaction = std::move(settled);
  return done;
}

bool StoreLedger::Finish(long long id) {
  return Run([&](LedgerDatabase& database) {
    Row row;
    if (!ReadRow(database, id, &row)) return false;
    if (!row.found || row.finished) return true;
    if (!IsFinal(row.state)) return database.Fail(TransactionNamed(id) + " is not settled yet");
    if (row.owner != lock_->Number() && lock_->IsAlive(row.owner)) {
      return database.Fail(TransactionNamed(id) + " belongs to another process");
    }
    return LedgerStatement(database, "UPDATE transactions SET finished = 1 WHERE id = ?1").Bind(id).Finish();
  });
}

bool StoreLedger::TakeUnfinished(std::vector<StoreTransaction>* transactions) {
  const auto take = [this](LedgerDatabase& database, Batch& taken) {
    std::vector<long long> others;
    LedgerStatement owners(database,
                           "SELECT DISTINCT owner FROM transactions WHERE finished = 0 AND state <> 4 AND owner <> ?1");
    owners.Bind(lock_->Number());
    while (owners.Next()) others.push_back(owners.Integer(0));
    if (!owners.Finish()) return false;
    for (const long long owner : others) {
      if (!lock_->IsAlive(owner) && !TakeOver(database, owner)) return false;
    }
    LedgerStatement unfinished(database,
                               "SELECT id, state, product, error_code FROM transactions "
                               "WHERE finished = 0 AND state IN (1, 2, 3) AND owner = ?1 ORDER BY id");
    return ReadBatch(unfinished.Bind(lock_->Number()), taken);
  };
  return RunForBatch(take, transactions);
}

bool StoreLedger::TakeOver(LedgerDatabase& database, long long owner) {
  return LedgerStatement(database,
                         "UPDATE transactions SET state = 2, finished = 1 "
                         "WHERE owner = ?1 AND finished = 0 AND state = 0")
             .Bind(owner)
             .Finish() &&
         LedgerStatement(database,
                         "UPDATE transactions SET owner = ?1 "
                         "WHERE owner = ?2 AND finished = 0 AND state IN (1, 2, 3)")
             .Bind(lock_->Number())
             .Bind(owner)
             .Finish();
}

bool StoreLedger::Restore(std::vector<StoreTransaction>* transactions) {
  const auto restore = [this](LedgerDatabase& database, Batch& restored) {
    LedgerStatement grants(database,
                           "SELECT id, 3, product, 0 FROM transactions "
                           "WHERE state = 1 AND non_consumable = 1 AND original IS NULL ORDER BY id");
    if (!ReadBatch(grants, restored)) return false;
    return std::all_of(restored.begin(), restored.end(), [&](StoreTransaction& transaction) {
      return Insert(database, true, transaction.id, &transaction);
    });
  };
  return RunForBatch(restore, transactions);
}

bool StoreLedger::DecideDeferred(bool approve, std::vector<StoreTransaction>* transactions) {
  const auto decide = [&](LedgerDatabase& database, Batch& decided) {
    LedgerStatement deferred(database,
                             "SELECT id, ?1, product, ?2 FROM transactions "
                             "WHERE finished = 0 AND state = 4 ORDER BY id");
    deferred.Bind(static_cast<int>(approve ? TransactionState::kPurchased : TransactionState::kFailed));
    if (!ReadBatch(deferred.Bind(approve ? 0 : kPaymentCancelled), decided)) return false;
    return std::all_of(decided.begin(), decided.end(),
                       [&](StoreTransaction& transaction) { return Change(database, &transaction); });
  };
  return RunForBatch(decide, transactions);
}

/// \param original 0 for none
bool StoreLedger::Insert(LedgerDatabase& database, bool non_consumable, long long original,
                         StoreTransaction* transaction) {
  // A new ledger's numbers begin at the time in microseconds, so that they are none of an earlier ledger's: a purchase
  // that is still under way when its ledger is set aside is unknown to the next one, not somebody else's.
  const auto now = std::chrono::system_clock::now().time_since_epoch() / std::chrono::microseconds(1);
  LedgerStatement statement(
      database,
      "INSERT INTO transactions(id, product, non_consumable, state, error_code, original, finished, owner, created) "
      "VALUES((SELECT coalesce(max(id), ?1) + 1 FROM transactions), ?2, ?3, ?4, 0, nullif(?5, 0), 0, ?6, ?1 / 1000000) "
      "RETURNING id");
  statement.Bind(now).Bind(transaction->product).Bind(non_consumable ? 1 : 0);
  statement.Bind(static_cast<int>(transaction->state)).Bind(original).Bind(lock_->Number());
  if (statement.Next()) transaction->id = statement.Integer(0);
  return statement.Finish();
}

/// Gives a transaction the state and the code that are asked for, and this instance.
bool StoreLedger::Change(LedgerDatabase& database, StoreTransaction* transaction) {
  LedgerStatement statement(
      database,
      "UPDATE transactions SET state = ?2, error_code = ?3, owner = ?4, "
      "original = CASE WHEN ?2 = 1 AND non_consumable = 1 THEN (SELECT granted.id FROM transactions AS granted WHERE "
      "granted.product = transactions.product AND granted.state = 1 AND granted.non_consumable = 1 "
      "AND granted.original IS NULL) END "
      "WHERE id = ?1 RETURNING product");
  statement.Bind(transaction->id).Bind(static_cast<int>(transaction->state));
  statement.Bind(transaction->error_code).Bind(lock_->Number());
  if (statement.Next()) transaction->product = statement.Text(0);
  return statement.Finish();
}

/// One transaction of the database around `work`.
bool StoreLedger::Run(const Work& work) {
  error_.clear();
  if (!BeReady()) return false;
  // Until it has succeeded the database is this call's own: a failure, or an exception, ends it.
  std::unique_ptr<LedgerDatabase> database = std::move(database_);
  if (!database->Execute("BEGIN IMMEDIATE") || !work(*database) || !database->Execute("COMMIT")) {
    return Stop(std::move(database));
  }
  number_ = lock_->Number();
  database_ = std::move(database);
  return true;
}

bool StoreLedger::RunForBatch(const std::function<bool(LedgerDatabase&, Batch&)>& work, Batch* transactions) {
  Batch batch;
  if (!Run([&](LedgerDatabase& database) { return work(database, batch); })) return false;
  *transactions = std::move(batch);
  return true;
}

bool StoreLedger::BeReady() {
  // Somebody has removed or replaced the files: what is written to the old ones would be lost.
  const bool lock_lost = lock_ && !lock_->IsInPlace();
  if (database_ && (lock_lost || !database_->IsInPlace())) database_.reset();
  if (lock_lost) lock_.reset();
  if (database_) return true;

  if (!BeAnInstance() || !MakeLedgerFile(path_, &error_)) return Stop(nullptr);
  auto database = std::make_unique<LedgerDatabase>(path_);
  if (!database->Open(busy_timeout_ms_)) return Stop(std::move(database));
  database_ = std::move(database);
  return true;
}

bool StoreLedger::BeAnInstance() {
  if (!MakeLedgerFolder(folder_, path_, &error_)) return false;
  if (!lock_) {
    auto lock = std::make_unique<LedgerLock>(folder_ + "/ledger.lock");
    if (!lock->Open(number_, &error_)) return false;
    lock_ = std::move(lock);
  }
  return lock_->Share(busy_timeout_ms_, &error_);
}

/// Closes what a failed call has opened. \return false
bool StoreLedger::Stop(std::unique_ptr<LedgerDatabase> database) {
  FileNumbers damaged;
  const bool corrupt = database && database->IsCorrupt();
  if (database) {
    error_ = path_ + ": " + database->Reason();
    damaged = database->Identity();
    database.reset();
  }
  // Only now: while it is shared, nobody moves the files that SQLite has open.
  if (lock_) lock_->Leave();
  if (corrupt) SetAside(damaged);
  error_ = OneLine(std::move(error_));
  // An instance that has rows goes on being the same one.
  if (number_ == 0) lock_.reset();
  return false;
}

void StoreLedger::SetAside(const FileNumbers& damaged) {
  FileNumbers now;
  std::string aside;
  std::string error;
  if (!lock_->TakeAlone()) {
    error_ += "; another process has it open, so it stays where it is";
  } else if (!IdentifyFile(path_, &now) || now != damaged) {
    error_ += "; another process has set it aside";
  } else if (SetLedgerAside(path_, &aside, &error)) {
    error_ += "; it is set aside as " + aside;
  } else {
    error_ += "; " + error;
  }
  lock_->Leave();
}

}  // namespace platform
