#include "device_store_sqlite.h"

#include <sqlite3.h>

#include <filesystem>

#include "base/crypto.h"
#include "base/sqlite_statement.h"
#include "pkce.h"
#include "random_token.h"

namespace pellum::server {
namespace {

constexpr const char* kSchema = R"(
CREATE TABLE IF NOT EXISTS devices (
  id INTEGER PRIMARY KEY,
  name TEXT NOT NULL,
  platform TEXT NOT NULL,
  fingerprint TEXT NOT NULL DEFAULT '',
  token_hash BLOB NOT NULL UNIQUE,
  created INTEGER NOT NULL,
  last_seen INTEGER NOT NULL DEFAULT 0,
  revoked INTEGER NOT NULL DEFAULT 0
);
CREATE UNIQUE INDEX IF NOT EXISTS devices_by_token_hash ON devices (token_hash);
CREATE TABLE IF NOT EXISTS pairing_codes (
  code_hash BLOB PRIMARY KEY,
  challenge TEXT NOT NULL,
  device_name TEXT NOT NULL,
  platform TEXT NOT NULL,
  expires INTEGER NOT NULL,
  used INTEGER NOT NULL DEFAULT 0
);
)";

// Stores made before version 1 relied on the column's implicit UNIQUE index,
// which only some of them had; the named index is what authenticate() looks
// tokens up through.
constexpr int kSchemaVersion = 1;

}  // namespace

std::variant<std::unique_ptr<DeviceStore>, StoreError> SqliteDeviceStore::open(const std::string& dataDir,
                                                                               Clock clock) {
  std::error_code ec;
  std::filesystem::create_directories(dataDir, ec);
  if (ec) return StoreError{"cannot create " + dataDir + ": " + ec.message()};
  std::filesystem::permissions(dataDir, std::filesystem::perms::owner_all, ec);
  const std::string path = dataDir + "/devices.sqlite3";
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                      nullptr) != SQLITE_OK) {
    std::string message = db ? sqlite3_errmsg(db) : "out of memory";
    sqlite3_close(db);
    return StoreError{"cannot open " + path + ": " + message};
  }
  std::unique_ptr<SqliteDeviceStore> store(new SqliteDeviceStore(db, std::move(clock)));
  sqlite3_busy_timeout(db, 5000);
  if (auto damage = store->damage()) {
    return StoreError{"the device store " + path + " is damaged (" + *damage +
                      "); move it away to start afresh"};
  }
  if (!store->execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;") || !store->execute(kSchema)) {
    return StoreError{"cannot set up " + path + ": " + sqlite3_errmsg(db)};
  }
  if (!store->migrate()) return StoreError{"cannot upgrade " + path + ": " + sqlite3_errmsg(db)};
  return store;
}

SqliteDeviceStore::SqliteDeviceStore(sqlite3* db, Clock clock)
    : db_(db), clock_(std::move(clock)), formSecret_(randomToken()) {}

SqliteDeviceStore::~SqliteDeviceStore() { sqlite3_close(db_); }

std::variant<std::string, StoreError> SqliteDeviceStore::formSecret() { return formSecret_; }

bool SqliteDeviceStore::execute(const char* sql) {
  return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::optional<std::string> SqliteDeviceStore::damage() {
  SqliteStatement check(db_, "PRAGMA quick_check");
  if (!check.ok()) return std::string(sqlite3_errmsg(db_));
  std::string problems;
  int result = SQLITE_ROW;
  while ((result = check.step()) == SQLITE_ROW) {
    const std::string row = check.text(0);
    if (row == "ok") continue;
    if (!problems.empty()) problems += "; ";
    problems += row;
  }
  if (result != SQLITE_DONE) return std::string(sqlite3_errmsg(db_));
  if (!problems.empty()) return problems;
  return std::nullopt;
}

bool SqliteDeviceStore::migrate() {
  SqliteStatement version(db_, "PRAGMA user_version");
  if (version.step() != SQLITE_ROW) return false;
  if (version.integer(0) >= kSchemaVersion) return true;
  // The index itself is made by kSchema; recording the version keeps later
  // migrations in order.
  return execute(("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str());
}

bool SqliteDeviceStore::commit() {
  if (execute("COMMIT")) return true;
  // Some failures (a full disk, an I/O error) leave the transaction open.
  if (!sqlite3_get_autocommit(db_)) execute("ROLLBACK");
  return false;
}

std::optional<std::string> SqliteDeviceStore::unreachable() {
  std::lock_guard lock(mutex_);
  SqliteStatement read(db_, "SELECT count(*) FROM devices");
  if (!read.ok() || read.step() != SQLITE_ROW) return std::string(sqlite3_errmsg(db_));
  return std::nullopt;
}

std::optional<Device> SqliteDeviceStore::authenticate(std::string_view token) {
  const std::string hash = sha256(token);
  std::lock_guard lock(mutex_);
  SqliteStatement read(
      db_,
      "SELECT id, name, platform, fingerprint, created FROM devices WHERE token_hash = ? AND revoked = 0");
  read.bindBlob(1, hash);
  if (read.step() != SQLITE_ROW) return std::nullopt;
  Device device{read.integer(0), read.text(1), read.text(2), read.text(3), read.integer(4), clock_(), false};
  SqliteStatement touch(db_, "UPDATE devices SET last_seen = ? WHERE id = ?");
  touch.bind(1, device.lastSeen).bind(2, device.id).step();
  return device;
}

std::optional<std::string> SqliteDeviceStore::insertDevice(std::string_view name, std::string_view platform,
                                                           std::string_view fingerprint) {
  const std::string token = randomToken();
  SqliteStatement insert(
      db_, "INSERT INTO devices (name, platform, fingerprint, token_hash, created) VALUES (?, ?, ?, ?, ?)");
  insert.bind(1, name).bind(2, platform).bind(3, fingerprint).bindBlob(4, sha256(token)).bind(5, clock_());
  if (insert.step() != SQLITE_DONE) return std::nullopt;
  return token;
}

std::variant<std::string, StoreError> SqliteDeviceStore::addDevice(std::string_view name,
                                                                   std::string_view platform,
                                                                   std::string_view fingerprint) {
  std::lock_guard lock(mutex_);
  if (auto token = insertDevice(name, platform, fingerprint)) return *token;
  return StoreError{std::string("cannot add device: ") + sqlite3_errmsg(db_)};
}

std::vector<Device> SqliteDeviceStore::devices() {
  std::lock_guard lock(mutex_);
  SqliteStatement select(
      db_, "SELECT id, name, platform, fingerprint, created, last_seen, revoked FROM devices ORDER BY id");
  std::vector<Device> out;
  while (select.step() == SQLITE_ROW) {
    out.push_back(Device{select.integer(0), select.text(1), select.text(2), select.text(3), select.integer(4),
                         select.integer(5), select.integer(6) != 0});
  }
  return out;
}

bool SqliteDeviceStore::revoke(std::int64_t id) {
  std::lock_guard lock(mutex_);
  SqliteStatement update(db_, "UPDATE devices SET revoked = 1 WHERE id = ?");
  update.bind(1, id);
  return update.step() == SQLITE_DONE && sqlite3_changes(db_) > 0;
}

std::variant<std::string, StoreError> SqliteDeviceStore::createPairingCode(const PairingRequest& request) {
  const std::string code = randomToken();
  std::lock_guard lock(mutex_);
  const std::int64_t now = clock_();
  SqliteStatement purge(db_, "DELETE FROM pairing_codes WHERE expires < ?");
  purge.bind(1, now - kCodeLifetimeSeconds).step();
  SqliteStatement insert(db_,
                         "INSERT INTO pairing_codes (code_hash, challenge, device_name, platform, expires) "
                         "VALUES (?, ?, ?, ?, ?)");
  insert.bindBlob(1, sha256(code))
      .bind(2, request.codeChallenge)
      .bind(3, request.deviceName)
      .bind(4, request.platform)
      .bind(5, now + kCodeLifetimeSeconds);
  if (insert.step() != SQLITE_DONE)
    return StoreError{std::string("cannot store pairing code: ") + sqlite3_errmsg(db_)};
  return code;
}

std::variant<std::string, ExchangeError> SqliteDeviceStore::exchange(std::string_view code,
                                                                     std::string_view verifier,
                                                                     std::string_view fingerprint) {
  std::lock_guard lock(mutex_);
  if (!execute("BEGIN IMMEDIATE")) return ExchangeError::storeFailed;
  // A token goes out only once the transaction that stores it committed; a
  // refusal's "code used" mark is committed the same way.
  auto finish =
      [&](std::variant<std::string, ExchangeError> result) -> std::variant<std::string, ExchangeError> {
    if (std::holds_alternative<ExchangeError>(result) &&
        std::get<ExchangeError>(result) == ExchangeError::storeFailed) {
      execute("ROLLBACK");
      return result;
    }
    if (!commit()) return ExchangeError::storeFailed;
    return result;
  };
  struct CodeRow {
    std::string challenge, name, platform;
    std::int64_t expires = 0;
    bool used = false;
  };
  std::optional<CodeRow> row;
  {
    SqliteStatement select(
        db_, "SELECT challenge, device_name, platform, expires, used FROM pairing_codes WHERE code_hash = ?");
    select.bindBlob(1, sha256(code));
    if (select.step() == SQLITE_ROW) {
      row =
          CodeRow{select.text(0), select.text(1), select.text(2), select.integer(3), select.integer(4) != 0};
    }
  }
  if (!row) return finish(ExchangeError::unknownCode);
  if (row->used) return finish(ExchangeError::codeUsed);
  SqliteStatement use(db_, "UPDATE pairing_codes SET used = 1 WHERE code_hash = ?");
  if (use.bindBlob(1, sha256(code)).step() != SQLITE_DONE) return finish(ExchangeError::storeFailed);
  if (row->expires < clock_()) return finish(ExchangeError::codeExpired);
  if (!pkceMatches(verifier, row->challenge)) return finish(ExchangeError::verifierMismatch);
  auto token = insertDevice(row->name, row->platform, fingerprint);
  if (!token) return finish(ExchangeError::storeFailed);
  return finish(*token);
}

}  // namespace pellum::server
