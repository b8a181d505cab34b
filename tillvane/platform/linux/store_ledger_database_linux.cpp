#include <tillvane/platform/linux/store_ledger_database_linux.h>

#include <sqlite3.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

namespace platform {

namespace {

constexpr long long kApplicationId = 0x544C564E;  // "TLVN"
constexpr long long kVersion = 1;
constexpr int kLongestValue = 1 << 20;

// SQLite keeps these texts, and CheckSchema() compares them byte by byte: a changed one is another version.
// The first index is what holds that a product is granted once, whatever the processes do.
constexpr std::array kSchema{
    "CREATE TABLE transactions("
    "id INTEGER PRIMARY KEY CHECK(id > 0), "
    "product TEXT NOT NULL, "
    "non_consumable INTEGER NOT NULL CHECK(non_consumable IN (0, 1)), "
    "state INTEGER NOT NULL CHECK(state BETWEEN 0 AND 4), "
    "error_code INTEGER NOT NULL, "
    "original INTEGER REFERENCES transactions(id), "
    "finished INTEGER NOT NULL CHECK(finished IN (0, 1)), "
    "owner INTEGER NOT NULL CHECK(owner > 0), "
    "created INTEGER NOT NULL) STRICT",
    "CREATE UNIQUE INDEX grants ON transactions(product) WHERE state = 1 AND non_consumable = 1 AND original IS NULL",
    "CREATE INDEX unfinished ON transactions(id) WHERE finished = 0",
};

struct Setting {
  int option;
  int value;
};

// The file may have been written by anybody: nothing in it is to run, and nothing is to be written past its format.
constexpr std::array kSettings{
    Setting{SQLITE_DBCONFIG_DEFENSIVE, 1},       Setting{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
    Setting{SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},  Setting{SQLITE_DBCONFIG_ENABLE_VIEW, 0},
    Setting{SQLITE_DBCONFIG_WRITABLE_SCHEMA, 0}, Setting{SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0},
    Setting{SQLITE_DBCONFIG_DQS_DML, 0},         Setting{SQLITE_DBCONFIG_DQS_DDL, 0},
};

long long SizeOf(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 ? info.st_size : 0;
}

std::string EscapedForUri(const std::string& path) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string escaped;
  for (const char character : path) {
    if (character != '%' && character != '?' && character != '#') {
      escaped += character;
      continue;
    }
    const auto byte = static_cast<unsigned char>(character);
    escaped += {'%', digits[byte >> 4], digits[byte & 15]};
  }
  return escaped;
}

int KeepFirstText(void* text, int count, char** values, char**) {
  if (count > 0 && values[0] != nullptr) *static_cast<std::string*>(text) = values[0];
  return 0;
}

}  // namespace

void LedgerDatabase::Closer::operator()(sqlite3* connection) const { sqlite3_close(connection); }

LedgerDatabase::LedgerDatabase(std::string path) : path_(std::move(path)) {}

LedgerDatabase::~LedgerDatabase() = default;

bool LedgerDatabase::Open(int busy_timeout_ms) {
  Content content;
  if (!LookAtFiles() || !LookInside()) return false;
  if (!Connect(path_, SQLITE_OPEN_READWRITE) || !Configure(busy_timeout_ms)) return false;
  if (!Identify(&content) || !Accept(content)) return false;
  if (content == Content::kNothing && !Create()) return false;
  if (!CheckSchema() || !CheckPages() || !UseWriteAheadLog(busy_timeout_ms)) return false;
  sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
  return true;
}

bool LedgerDatabase::LookAtFiles() {
  // In this order: the log of a ledger that another process just makes comes after the ledger's first page.
  const long long log_size = SizeOf(path_ + "-wal");
  struct stat info;
  if (lstat(path_.c_str(), &info) != 0) return Fail(WithSystemReason("cannot be looked at", errno));
  if (!S_ISREG(info.st_mode)) return Fail("is not a file");
  identity_ = {info.st_dev, info.st_ino};
  // SQLite would take the empty file for the whole truth, and delete the log.
  return info.st_size != 0 || log_size == 0 || FailCorrupt("is empty, but its log is not");
}

// Without locks, log and recovery, so that what is not ours to open stays as it is to the byte. Done through SQLite, as
// closing a descriptor of our own would drop the locks that another connection of this process has on the file.
bool LedgerDatabase::LookInside() {
  // A half-written transaction has to be undone first, which only the connection proper does.
  if (SizeOf(path_) == 0 || SizeOf(path_ + "-journal") != 0) return true;
  LedgerDatabase look(path_);
  Content content;
  const std::string name = "file:" + EscapedForUri(path_) + "?immutable=1";
  if (!look.Connect(name, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI) || !look.Identify(&content)) return true;
  // A ledger names itself from its first page on: one that is not empty and nameless is somebody else's.
  return Accept(content == Content::kNothing ? Content::kForeign : content);
}

bool LedgerDatabase::Connect(const std::string& name, int flags) {
  sqlite3* connection = nullptr;
  const int code =
      sqlite3_open_v2(name.c_str(), &connection,
                      flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_EXRESCODE, nullptr);
  connection_.reset(connection);
  if (code != SQLITE_OK) return FailWith(code);
  // Until the file is accepted: closing it is to leave it, and its log, as they are.
  sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  for (const Setting& setting : kSettings) sqlite3_db_config(connection, setting.option, setting.value, nullptr);
  sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, kLongestValue);
  return true;
}

bool LedgerDatabase::Configure(int busy_timeout_ms) {
  // SQLite opens for reading alone what it may not write.
  if (sqlite3_db_readonly(connection_.get(), "main") != 0) return Fail("may not be written");
  sqlite3_busy_timeout(connection_.get(), busy_timeout_ms);
  return Execute("PRAGMA synchronous = FULL") && Execute("PRAGMA cell_size_check = ON") &&
         Execute("PRAGMA temp_store = MEMORY") && Execute("PRAGMA mmap_size = 0");
}

bool LedgerDatabase::Identify(Content* content) {
  // One statement, so that it sees the file at one moment.
  LedgerStatement statement(*this,
                            "SELECT application_id, user_version, (SELECT count(*) FROM sqlite_schema) "
                            "FROM pragma_application_id, pragma_user_version");
  if (!statement.Next()) return false;
  const long long application = statement.Integer(0);
  const long long version = statement.Integer(1);
  if (application == kApplicationId && version >= kVersion) {
    *content = version == kVersion ? Content::kLedger : Content::kNewer;
  } else {
    const bool empty = application == 0 && version == 0 && statement.Integer(2) == 0;
    *content = empty ? Content::kNothing : Content::kForeign;
  }
  return statement.Finish();
}

bool LedgerDatabase::Accept(Content content) {
  if (content == Content::kForeign) return Fail("is another program's database, not a ledger");
  if (content == Content::kNewer) return Fail("was written by a later version of this program");
  return true;
}

bool LedgerDatabase::Create() {
  Content content;
  if (!Execute("BEGIN IMMEDIATE") || !Identify(&content) || !Accept(content)) return false;
  // Another process may have made it while this one waited.
  if (content == Content::kNothing) {
    for (const char* sql : kSchema) {
      if (!Execute(sql)) return false;
    }
    const std::string application = "PRAGMA application_id = " + std::to_string(kApplicationId);
    const std::string version = "PRAGMA user_version = " + std::to_string(kVersion);
    if (!Execute(application.c_str()) || !Execute(version.c_str())) return false;
  }
  return Execute("COMMIT");
}

// Before anything else reads the tables: a schema that is ours to the byte brings no code of somebody else's.
bool LedgerDatabase::CheckSchema() {
  LedgerStatement statement(*this, "SELECT sql FROM sqlite_schema ORDER BY rowid");
  for (const char* sql : kSchema) {
    if (statement.Next() && statement.Text(0) == sql) continue;
    return Fail("is not laid out as a ledger of this version");
  }
  if (statement.Next()) return Fail("holds more than a ledger of this version");
  return statement.Finish();
}

bool LedgerDatabase::CheckPages() {
  // The quick check would miss a grant that its index has lost. A ledger is small: ten thousand rows take some 10 ms.
  LedgerStatement statement(*this, "PRAGMA integrity_check(1)");
  if (!statement.Next()) return Fail("gives no answer to its check");
  const std::string answer = statement.Text(0);
  return answer == "ok" ? statement.Finish() : FailCorrupt("does not pass its check: " + answer);
}

bool LedgerDatabase::UseWriteAheadLog(int busy_timeout_ms) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(busy_timeout_ms);
  for (;;) {
    std::string mode;
    const int code = sqlite3_exec(connection_.get(), "PRAGMA journal_mode = WAL", KeepFirstText, &mode, nullptr);
    if (code == SQLITE_OK) return mode == "wal" || Fail("cannot have a write-ahead log here");
    // The change of mode does not always ask the busy handler.
    if ((code & 0xFF) != SQLITE_BUSY || std::chrono::steady_clock::now() >= end) return FailWith(code);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

bool LedgerDatabase::IsInPlace() const {
  int moved = 0;
  return sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK && moved == 0;
}

bool LedgerDatabase::Execute(const char* sql) { return LedgerStatement(*this, sql).Finish(); }

bool LedgerDatabase::Fail(const std::string& reason) {
  if (reason_.empty()) reason_ = reason;
  return false;
}

bool LedgerDatabase::FailCorrupt(const std::string& reason) {
  corrupt_ = true;
  // The log stays beside the file: what it holds may be all that is whole.
  if (connection_) sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  return Fail(reason);
}

bool LedgerDatabase::FailWith(int code) {
  const int kind = code & 0xFF;
  const std::string reason = connection_ ? sqlite3_errmsg(connection_.get()) : sqlite3_errstr(code);
  if (kind == SQLITE_CORRUPT || kind == SQLITE_NOTADB) return FailCorrupt("is corrupt: " + reason);
  if (code == SQLITE_READONLY_DIRECTORY) return Fail("its folder may not be written");
  const int system = connection_ ? sqlite3_system_errno(connection_.get()) : 0;
  const bool from_system = kind == SQLITE_CANTOPEN || kind == SQLITE_IOERR || kind == SQLITE_FULL;
  return Fail(from_system && system != 0 ? WithSystemReason(reason, system) : reason);
}

LedgerStatement::LedgerStatement(LedgerDatabase& database, const char* sql) : database_(database) {
  Note(sqlite3_prepare_v2(database.connection_.get(), sql, -1, &statement_, nullptr));
}

LedgerStatement::~LedgerStatement() { sqlite3_finalize(statement_); }

LedgerStatement& LedgerStatement::Bind(long long value) {
  if (!failed_) Note(sqlite3_bind_int64(statement_, ++bound_, value));
  return *this;
}

LedgerStatement& LedgerStatement::Bind(const std::string& value) {
  if (!failed_) {
    Note(sqlite3_bind_text64(statement_, ++bound_, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8));
  }
  return *this;
}

bool LedgerStatement::Next() {
  // A further step after the last row would run the statement again.
  if (failed_ || ended_) return false;
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  ended_ = true;
  if (code != SQLITE_DONE) Note(code);
  return false;
}

bool LedgerStatement::Finish() {
  while (Next()) {
  }
  return !failed_;
}

long long LedgerStatement::Integer(int column) const { return sqlite3_column_int64(statement_, column); }

std::string LedgerStatement::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  return text == nullptr ? std::string()
                         : std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement_, column)));
}

void LedgerStatement::Note(int code) {
  if (code == SQLITE_OK) return;
  failed_ = true;
  database_.FailWith(code);
}

}  // namespace platform
