#pragma once

#include <memory>
#include <string>

#include <tillvane/platform/linux/store_ledger_files_linux.h>

struct sqlite3;
struct sqlite3_stmt;

namespace platform {

/// A ledger's SQLite file, open and found to be a whole ledger of this version.
///
/// The first thing that goes wrong is kept, and after it the object is only good to be asked for it and destroyed,
/// which rolls back what was not committed.
class LedgerDatabase {
 public:
  /// \param path of a file that exists, absolute
  explicit LedgerDatabase(std::string path);
  ~LedgerDatabase();
  LedgerDatabase(const LedgerDatabase&) = delete;
  LedgerDatabase& operator=(const LedgerDatabase&) = delete;

  /// Opens the file, and makes an empty one a new ledger. A file that is something else, or a later version's ledger,
  /// stays as it is.
  /// \param busy_timeout_ms how long a step may wait for another process
  bool Open(int busy_timeout_ms);

  /// Is this still the file under its name?
  bool IsInPlace() const;

  /// Runs a statement that answers nothing.
  bool Execute(const char* sql);

  /// Notes that something went wrong. \return false
  bool Fail(const std::string& reason);
  /// Notes SQLite's own reason. \return false
  bool FailWith(int code);

  const std::string& Reason() const { return reason_; }
  /// Is the file itself damaged?
  bool IsCorrupt() const { return corrupt_; }
  const FileNumbers& Identity() const { return identity_; }

 private:
  friend class LedgerStatement;

  struct Closer {
    void operator()(sqlite3* connection) const;
  };

  bool LookAtFiles();
  bool LookInside();
  bool Connect(const std::string& name, int flags);
  bool Configure(int busy_timeout_ms);
  enum class Content { kLedger, kNothing, kForeign, kNewer };
  bool Identify(Content* content);
  bool Accept(Content content);
  bool Create();
  bool CheckSchema();
  bool CheckPages();
  bool UseWriteAheadLog(int busy_timeout_ms);
  bool FailCorrupt(const std::string& reason);

  std::string path_;
  FileNumbers identity_;
  std::unique_ptr<sqlite3, Closer> connection_;
  std::string reason_;
  bool corrupt_ = false;
};

/// One SQL statement while it runs. What goes wrong is noted in the database, and ends the rows.
class LedgerStatement {
 public:
  /// \param sql stays the caller's
  LedgerStatement(LedgerDatabase& database, const char* sql);
  ~LedgerStatement();
  LedgerStatement(const LedgerStatement&) = delete;
  LedgerStatement& operator=(const LedgerStatement&) = delete;

  /// Gives the next of the statement's parameters, ?1 first. The text must outlive the statement.
  LedgerStatement& Bind(long long value);
  LedgerStatement& Bind(const std::string& value);

  /// \return true while there is a row; false after the last one and after a failure
  bool Next();
  /// Runs to the end. \return false after a failure
  bool Finish();

  /// Columns of the row, from 0.
  long long Integer(int column) const;
  std::string Text(int column) const;

 private:
  void Note(int code);

  LedgerDatabase& database_;
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
  bool failed_ = false;
  bool ended_ = false;
};

}  // namespace platform
