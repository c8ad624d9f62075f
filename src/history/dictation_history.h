#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "history/dictation_entry.h"

struct sqlite3;

namespace pellum {

struct HistoryError {
  std::string description;
};

// The recent dictations, in one SQLite file readable by the user alone.
// Every write is one transaction, so a crash leaves the file as it was
// before or after it; each write also drops what the limits no longer
// allow. A file SQLite cannot read is moved aside and a fresh one begun.
//
// Not thread-safe: one thread uses it (the desktop's main thread, or a
// command).
class DictationHistory {
 public:
  // Milliseconds of Unix time.
  using Clock = std::function<std::int64_t()>;

  // Opens (or creates) the store at `path`, making its folder if need be.
  // An unreadable file is renamed to "<path>.corrupt-<ms>" first, and
  // `movedAside()` says where it went.
  static std::variant<std::unique_ptr<DictationHistory>, HistoryError> open(const std::string& path,
                                                                            HistoryLimits limits = {},
                                                                            Clock clock = {});
  ~DictationHistory();
  DictationHistory(const DictationHistory&) = delete;
  DictationHistory& operator=(const DictationHistory&) = delete;

  // Stores `entry` (its id is ignored) and returns the id it got; the
  // recording of an inserted dictation is dropped unless the limits keep
  // recordings.
  std::variant<std::int64_t, HistoryError> add(const DictationEntry& entry);
  // The newest `limit` entries, newest first, without their recordings
  // (`hasRecording` says whether one is kept).
  std::vector<DictationEntry> recent(int limit) const;
  // One entry with its recording.
  std::optional<DictationEntry> find(std::int64_t id) const;
  // Records that a retry of entry `id` gave `text`: the entry becomes
  // "retried", its failure is cleared and its recording dropped unless the
  // limits keep recordings. An unknown id is an error.
  std::optional<HistoryError> recordRetry(std::int64_t id, const std::string& text);
  // Forgets every entry.
  std::optional<HistoryError> clear();
  // From the next write on, whether successful dictations keep their
  // recordings too.
  void setKeepRecordings(bool keep) { limits_.keepRecordings = keep; }

  const std::optional<std::string>& movedAside() const { return movedAside_; }

 private:
  DictationHistory(sqlite3* db, HistoryLimits limits, Clock clock);
  bool execute(const char* sql);
  bool commit();
  bool prune();
  HistoryError lastError(const std::string& what) const;

  sqlite3* db_;
  HistoryLimits limits_;
  Clock clock_;
  std::optional<std::string> movedAside_;
};

}  // namespace pellum
