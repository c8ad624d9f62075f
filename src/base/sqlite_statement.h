#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace pellum {

// One prepared SQLite statement, finalised on every path out. A statement
// that failed to prepare is not ok() and every step() of it fails.
// Not thread-safe: one thread at a time, as its connection allows.
class SqliteStatement {
 public:
  SqliteStatement(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr); }
  ~SqliteStatement() { sqlite3_finalize(statement_); }
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;

  bool ok() const { return statement_ != nullptr; }
  SqliteStatement& bind(int index, std::string_view text) {
    sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    return *this;
  }
  SqliteStatement& bindBlob(int index, std::string_view bytes) {
    sqlite3_bind_blob(statement_, index, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
    return *this;
  }
  SqliteStatement& bind(int index, std::int64_t value) {
    sqlite3_bind_int64(statement_, index, value);
    return *this;
  }
  // SQLITE_ROW, SQLITE_DONE or an error code.
  int step() { return statement_ ? sqlite3_step(statement_) : SQLITE_ERROR; }
  std::int64_t integer(int column) { return sqlite3_column_int64(statement_, column); }
  // A text or blob column's bytes; empty for NULL.
  std::string text(int column) {
    const auto* bytes = sqlite3_column_blob(statement_, column);
    return bytes ? std::string(static_cast<const char*>(bytes),
                               static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)))
                 : std::string();
  }

 private:
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace pellum
