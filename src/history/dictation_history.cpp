#include "history/dictation_history.h"

#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "base/log_line.h"
#include "base/sqlite_statement.h"

namespace pellum {
namespace {

constexpr const char* kSchema = R"(
CREATE TABLE IF NOT EXISTS dictations (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  started_at INTEGER NOT NULL,
  duration_ms INTEGER NOT NULL,
  mode TEXT NOT NULL,
  language TEXT NOT NULL,
  outcome TEXT NOT NULL,
  failure TEXT NOT NULL DEFAULT '',
  text TEXT NOT NULL DEFAULT '',
  recording BLOB
);
CREATE INDEX IF NOT EXISTS dictations_by_start ON dictations (started_at);
)";

std::int64_t systemNow() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// What is wrong with the file behind `db`, or nothing. A file that is not
// a database at all fails the check itself.
std::optional<std::string> damage(sqlite3* db) {
  SqliteStatement check(db, "PRAGMA quick_check");
  if (!check.ok()) return std::string(sqlite3_errmsg(db));
  int result = SQLITE_ROW;
  while ((result = check.step()) == SQLITE_ROW) {
    if (const std::string row = check.text(0); row != "ok") return row;
  }
  if (result != SQLITE_DONE) return std::string(sqlite3_errmsg(db));
  return std::nullopt;
}

sqlite3* openFile(const std::string& path, std::string& error) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
    error = db ? sqlite3_errmsg(db) : "out of memory";
    sqlite3_close(db);
    return nullptr;
  }
  // The desktop program and `pellum history` may write at the same time.
  sqlite3_busy_timeout(db, 2000);
  return db;
}

// Readable by the user alone, folder included: it holds what they said.
std::optional<std::string> prepareFile(const std::filesystem::path& path) {
  std::error_code ec;
  if (path.has_parent_path()) {
    std::filesystem::create_directories(path.parent_path(), ec);
    if (ec) return "cannot create " + path.parent_path().string() + ": " + ec.message();
    std::filesystem::permissions(path.parent_path(), std::filesystem::perms::owner_all, ec);
  }
  if (!std::filesystem::exists(path, ec)) std::ofstream(path, std::ios::binary | std::ios::app);
  std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                               ec);
  if (ec) return "cannot create " + path.string() + ": " + ec.message();
  return std::nullopt;
}

// Moves the unreadable file (and its journal files) out of the way.
std::optional<std::string> moveAside(const std::string& path, std::int64_t now, std::string& aside) {
  aside = path + ".corrupt-" + std::to_string(now);
  std::error_code ec;
  std::filesystem::rename(path, aside, ec);
  if (ec) return "cannot move " + path + " aside: " + ec.message();
  for (const char* suffix : {"-wal", "-shm"}) {
    std::filesystem::rename(path + suffix, aside + suffix, ec);  // absent is fine
  }
  return std::nullopt;
}

}  // namespace

std::variant<std::unique_ptr<DictationHistory>, HistoryError> DictationHistory::open(const std::string& path,
                                                                                     HistoryLimits limits,
                                                                                     Clock clock) {
  if (!clock) clock = systemNow;
  if (auto error = prepareFile(path)) return HistoryError{*error};
  std::string error;
  sqlite3* db = openFile(path, error);
  if (!db) return HistoryError{"cannot open " + path + ": " + error};
  std::optional<std::string> movedTo;
  if (const auto problem = damage(db)) {
    sqlite3_close(db);
    std::string aside;
    if (auto moveError = moveAside(path, clock(), aside)) return HistoryError{*moveError};
    logLine("DictationHistory: " + path + " could not be read (" + *problem + "); moved aside to " + aside +
            " and started afresh");
    movedTo = aside;
    if (auto prepareError = prepareFile(path)) return HistoryError{*prepareError};
    db = openFile(path, error);
    if (!db) return HistoryError{"cannot open " + path + ": " + error};
  }
  std::unique_ptr<DictationHistory> history(new DictationHistory(db, limits, std::move(clock)));
  history->movedAside_ = std::move(movedTo);
  if (!history->execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;") ||
      !history->execute(kSchema)) {
    return history->lastError("cannot set up " + path);
  }
  return history;
}

DictationHistory::DictationHistory(sqlite3* db, HistoryLimits limits, Clock clock)
    : db_(db), limits_(limits), clock_(std::move(clock)) {}

DictationHistory::~DictationHistory() { sqlite3_close(db_); }

bool DictationHistory::execute(const char* sql) {
  return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool DictationHistory::commit() {
  if (execute("COMMIT")) return true;
  // A full disk or an I/O error can leave the transaction open.
  if (!sqlite3_get_autocommit(db_)) execute("ROLLBACK");
  return false;
}

HistoryError DictationHistory::lastError(const std::string& what) const {
  return HistoryError{what + ": " + sqlite3_errmsg(db_)};
}

bool DictationHistory::prune() {
  SqliteStatement old(db_, "DELETE FROM dictations WHERE started_at < ?");
  old.bind(1, clock_() - static_cast<std::int64_t>(limits_.maxAge.count()));
  if (old.step() != SQLITE_DONE) return false;
  SqliteStatement surplus(
      db_, "DELETE FROM dictations WHERE id NOT IN (SELECT id FROM dictations ORDER BY id DESC LIMIT ?)");
  surplus.bind(1, std::int64_t{limits_.maxEntries});
  return surplus.step() == SQLITE_DONE;
}

std::variant<std::int64_t, HistoryError> DictationHistory::add(const DictationEntry& entry) {
  if (!execute("BEGIN IMMEDIATE")) return lastError("cannot store the dictation");
  SqliteStatement insert(db_,
                         "INSERT INTO dictations (started_at, duration_ms, mode, language, outcome, failure, "
                         "text, recording) VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
  insert.bind(1, entry.startedAt)
      .bind(2, entry.durationMs)
      .bind(3, rawValue(entry.mode))
      .bind(4, entry.language)
      .bind(5, outcomeName(entry.outcome))
      .bind(6, entry.failure)
      .bind(7, entry.text);
  const bool keep =
      !entry.recording.empty() && (entry.outcome != DictationOutcome::inserted || limits_.keepRecordings);
  if (keep) insert.bindBlob(8, entry.recording);  // unbound stays NULL
  if (insert.step() != SQLITE_DONE || !prune()) {
    HistoryError error = lastError("cannot store the dictation");
    execute("ROLLBACK");
    return error;
  }
  const std::int64_t id = sqlite3_last_insert_rowid(db_);
  if (!commit()) return lastError("cannot store the dictation");
  return id;
}

namespace {

constexpr const char* kColumns =
    "id, started_at, duration_ms, mode, language, outcome, failure, text, recording IS NOT NULL";

DictationEntry readEntry(SqliteStatement& row) {
  DictationEntry entry;
  entry.id = row.integer(0);
  entry.startedAt = row.integer(1);
  entry.durationMs = row.integer(2);
  entry.mode = transcriptionModeFromRawValue(row.text(3)).value_or(TranscriptionMode::clean);
  entry.language = row.text(4);
  entry.outcome = outcomeFromName(row.text(5)).value_or(DictationOutcome::failed);
  entry.failure = row.text(6);
  entry.text = row.text(7);
  entry.hasRecording = row.integer(8) != 0;
  return entry;
}

}  // namespace

std::vector<DictationEntry> DictationHistory::recent(int limit) const {
  const std::string sql = std::string("SELECT ") + kColumns + " FROM dictations ORDER BY id DESC LIMIT ?";
  SqliteStatement select(db_, sql.c_str());
  select.bind(1, std::int64_t{limit});
  std::vector<DictationEntry> entries;
  while (select.step() == SQLITE_ROW) entries.push_back(readEntry(select));
  return entries;
}

std::optional<DictationEntry> DictationHistory::find(std::int64_t id) const {
  const std::string sql = std::string("SELECT ") + kColumns + ", recording FROM dictations WHERE id = ?";
  SqliteStatement select(db_, sql.c_str());
  select.bind(1, id);
  if (select.step() != SQLITE_ROW) return std::nullopt;
  DictationEntry entry = readEntry(select);
  entry.recording = select.text(9);
  return entry;
}

std::optional<HistoryError> DictationHistory::recordRetry(std::int64_t id, const std::string& text) {
  SqliteStatement update(db_,
                         "UPDATE dictations SET outcome = ?, text = ?, failure = '', "
                         "recording = CASE WHEN ? THEN recording ELSE NULL END WHERE id = ?");
  update.bind(1, outcomeName(DictationOutcome::retried))
      .bind(2, text)
      .bind(3, std::int64_t{limits_.keepRecordings})
      .bind(4, id);
  if (update.step() != SQLITE_DONE) return lastError("cannot record the retry");
  if (sqlite3_changes(db_) == 0) return HistoryError{"no dictation " + std::to_string(id)};
  return std::nullopt;
}

std::optional<HistoryError> DictationHistory::clear() {
  if (!execute("DELETE FROM dictations")) return lastError("cannot clear the history");
  return std::nullopt;
}

}  // namespace pellum
