#pragma once

#include <sqlite3.h>

#include <string>

#include <gtest/gtest.h>

namespace support {

/// An SQLite file as another program sees it: for looking into a ledger, and for meddling with it.
class SqliteFile {
 public:
  explicit SqliteFile(const std::string& path) {
    const int code = sqlite3_open_v2(path.c_str(), &connection_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    EXPECT_EQ(code, SQLITE_OK) << path << ": " << sqlite3_errmsg(connection_);
    sqlite3_busy_timeout(connection_, 10000);
  }
  ~SqliteFile() { EXPECT_EQ(sqlite3_close(connection_), SQLITE_OK); }
  SqliteFile(const SqliteFile&) = delete;
  SqliteFile& operator=(const SqliteFile&) = delete;

  /// Runs statements. \return their values, "a|b" for a row, "a\nb" for rows; SQLite's reason after "error: "
  std::string Run(const std::string& sql) {
    std::string rows;
    char* reason = nullptr;
    if (sqlite3_exec(connection_, sql.c_str(), &SqliteFile::AddRow, &rows, &reason) != SQLITE_OK) {
      rows = std::string("error: ") + reason;
    }
    sqlite3_free(reason);
    return rows;
  }

 private:
  static int AddRow(void* data, int count, char** values, char**) {
    auto& rows = *static_cast<std::string*>(data);
    if (!rows.empty()) rows += '\n';
    for (int i = 0; i < count; ++i) {
      if (i != 0) rows += '|';
      rows += values[i] != nullptr ? values[i] : "NULL";
    }
    return 0;
  }

  sqlite3* connection_ = nullptr;
};

/// For a single look.
inline std::string RunSql(const std::string& path, const std::string& sql) { return SqliteFile(path).Run(sql); }

}  // namespace support
