#include "device_store_postgresql.h"

#include <libpq-fe.h>

#include <array>

#include "base/crypto.h"
#include "pkce.h"
#include "random_token.h"
#include "store_url.h"

namespace pellum::server {
namespace {

struct Migration {
  int version;
  const char* sql;
};

// Applied in order, each once, inside the transaction that records it. A
// released version is never edited: changes come as a new version.
constexpr std::array kMigrations{
    Migration{1, R"(
CREATE TABLE devices (
  id bigserial PRIMARY KEY,
  name text NOT NULL,
  platform text NOT NULL,
  fingerprint text NOT NULL DEFAULT '',
  token_hash bytea NOT NULL UNIQUE,
  created bigint NOT NULL,
  last_seen bigint NOT NULL DEFAULT 0,
  revoked boolean NOT NULL DEFAULT false
);
CREATE TABLE pairing_codes (
  code_hash bytea PRIMARY KEY,
  challenge text NOT NULL,
  device_name text NOT NULL,
  platform text NOT NULL,
  expires bigint NOT NULL,
  used boolean NOT NULL DEFAULT false
);
CREATE INDEX pairing_codes_by_expiry ON pairing_codes (expires);
CREATE TABLE server_secrets (
  name text PRIMARY KEY,
  value text NOT NULL
);
)"},
};

// Any number that no other user of the database locks on; servers starting
// together queue on it so that each migration runs once.
constexpr const char* kMigrationLock = "SELECT pg_advisory_xact_lock(7140526)";

struct ResultDeleter {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

// The parameters of one statement: hashes go as binary (bytea), the rest as
// text.
class Params {
 public:
  Params& text(std::string_view value) { return add(std::string(value), 0); }
  Params& bytes(std::string_view value) { return add(std::string(value), 1); }
  Params& number(std::int64_t value) { return add(std::to_string(value), 0); }

  Result run(PGconn* connection, const char* sql) const {
    std::vector<const char*> values;
    std::vector<int> lengths;
    for (const auto& value : values_) {
      values.push_back(value.data());
      lengths.push_back(static_cast<int>(value.size()));
    }
    return Result(PQexecParams(connection, sql, static_cast<int>(values_.size()), nullptr, values.data(),
                               lengths.data(), formats_.data(), 0));
  }

 private:
  Params& add(std::string value, int format) {
    values_.push_back(std::move(value));
    formats_.push_back(format);
    return *this;
  }
  std::vector<std::string> values_;
  std::vector<int> formats_;
};

Result run(PGconn* connection, const char* sql) { return Params().run(connection, sql); }

bool succeeded(const Result& result) {
  const auto status = PQresultStatus(result.get());
  return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
}

bool hasOneRow(const Result& result) { return succeeded(result) && PQntuples(result.get()) == 1; }

std::string field(const Result& result, int row, int column) { return PQgetvalue(result.get(), row, column); }

std::int64_t numberField(const Result& result, int row, int column) {
  return std::strtoll(PQgetvalue(result.get(), row, column), nullptr, 10);
}

bool flagField(const Result& result, int row, int column) { return field(result, row, column) == "t"; }

// A failed COMMIT, or one that PostgreSQL turned into a ROLLBACK because the
// transaction had already failed, both mean nothing was kept.
bool committed(PGconn* connection) {
  auto result = run(connection, "COMMIT");
  return succeeded(result) && std::string_view(PQcmdStatus(result.get())) == "COMMIT";
}

}  // namespace

int PostgresDeviceStore::latestSchemaVersion() { return kMigrations.back().version; }

std::variant<std::unique_ptr<DeviceStore>, StoreError> PostgresDeviceStore::open(const std::string& url,
                                                                                 Clock clock) {
  std::unique_ptr<PostgresDeviceStore> store(new PostgresDeviceStore(url, std::move(clock)));
  const std::string where = "the device store at " + withoutPassword(url);
  if (auto error = store->connect()) return StoreError{"cannot reach " + where + ": " + *error};
  if (auto error = store->migrate()) return StoreError{"cannot set up " + where + ": " + *error};
  return store;
}

PostgresDeviceStore::~PostgresDeviceStore() { PQfinish(connection_); }

std::optional<std::string> PostgresDeviceStore::connect() {
  if (connection_ && PQstatus(connection_) == CONNECTION_OK) return std::nullopt;
  PQfinish(connection_);
  // The URL comes last so that what it says wins over these defaults.
  const char* keys[] = {"connect_timeout",  "tcp_user_timeout", "options",
                        "application_name", "dbname",           nullptr};
  const char* values[] = {
      "5",          "10000", "-c statement_timeout=5000 -c client_min_messages=warning", "pellum-server",
      url_.c_str(), nullptr};
  connection_ = PQconnectdbParams(keys, values, 1);
  if (PQstatus(connection_) == CONNECTION_OK) return std::nullopt;
  std::string error = lastError();
  PQfinish(connection_);
  connection_ = nullptr;
  return error;
}

bool PostgresDeviceStore::connectionLost() const {
  return connection_ && PQstatus(connection_) == CONNECTION_BAD;
}

std::string PostgresDeviceStore::lastError() const {
  if (!connection_) return "not connected";
  std::string message = PQerrorMessage(connection_);
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
  return message.empty() ? "unknown error" : message;
}

std::optional<std::string> PostgresDeviceStore::migrate() {
  if (!succeeded(run(connection_, "BEGIN")) || !succeeded(run(connection_, kMigrationLock)) ||
      !succeeded(run(connection_,
                     "CREATE TABLE IF NOT EXISTS schema_migrations (version integer PRIMARY KEY, "
                     "applied timestamptz NOT NULL DEFAULT now())"))) {
    return lastError();
  }
  auto current = run(connection_, "SELECT coalesce(max(version), 0) FROM schema_migrations");
  if (!hasOneRow(current)) return lastError();
  const auto version = numberField(current, 0, 0);
  if (version > latestSchemaVersion()) {
    run(connection_, "ROLLBACK");
    return "its schema (version " + std::to_string(version) + ") is newer than this pellum-server knows (" +
           std::to_string(latestSchemaVersion()) + "); upgrade pellum-server";
  }
  for (const auto& migration : kMigrations) {
    if (migration.version <= version) continue;
    if (!succeeded(Result(PQexec(connection_, migration.sql))) ||
        !succeeded(Params()
                       .number(migration.version)
                       .run(connection_, "INSERT INTO schema_migrations (version) VALUES ($1)"))) {
      std::string error = "migration " + std::to_string(migration.version) + ": " + lastError();
      run(connection_, "ROLLBACK");
      return error;
    }
  }
  if (!committed(connection_)) return lastError();
  return std::nullopt;
}

std::optional<std::string> PostgresDeviceStore::unreachable() {
  std::lock_guard lock(mutex_);
  return retried([this]() -> std::optional<std::string> {
    if (auto error = connect()) return error;
    if (!succeeded(run(connection_, "SELECT 1 FROM devices LIMIT 1"))) return lastError();
    return std::nullopt;
  });
}

std::optional<Device> PostgresDeviceStore::authenticate(std::string_view token) {
  const std::string hash = sha256(token);
  std::lock_guard lock(mutex_);
  return retried([&]() -> std::optional<Device> {
    if (connect()) return std::nullopt;
    auto row = Params().bytes(hash).number(clock_()).run(
        connection_,
        "UPDATE devices SET last_seen = $2 WHERE token_hash = $1 AND NOT revoked "
        "RETURNING id, name, platform, fingerprint, created, last_seen");
    if (!hasOneRow(row)) return std::nullopt;
    return Device{numberField(row, 0, 0),
                  field(row, 0, 1),
                  field(row, 0, 2),
                  field(row, 0, 3),
                  numberField(row, 0, 4),
                  numberField(row, 0, 5),
                  false};
  });
}

std::variant<std::string, StoreError> PostgresDeviceStore::addDevice(std::string_view name,
                                                                     std::string_view platform,
                                                                     std::string_view fingerprint) {
  std::lock_guard lock(mutex_);
  return retried([&]() -> std::variant<std::string, StoreError> {
    if (auto error = connect()) return StoreError{"cannot add device: " + *error};
    const std::string token = randomToken();
    auto insert = Params()
                      .text(name)
                      .text(platform)
                      .text(fingerprint)
                      .bytes(sha256(token))
                      .number(clock_())
                      .run(connection_,
                           "INSERT INTO devices (name, platform, fingerprint, token_hash, created) VALUES "
                           "($1, $2, $3, $4, $5)");
    if (!succeeded(insert)) return StoreError{"cannot add device: " + lastError()};
    return token;
  });
}

std::vector<Device> PostgresDeviceStore::devices() {
  std::lock_guard lock(mutex_);
  return retried([this] {
    std::vector<Device> out;
    if (connect()) return out;
    auto rows =
        run(connection_,
            "SELECT id, name, platform, fingerprint, created, last_seen, revoked FROM devices ORDER BY id");
    if (!succeeded(rows)) return out;
    for (int row = 0; row < PQntuples(rows.get()); ++row) {
      out.push_back(Device{numberField(rows, row, 0), field(rows, row, 1), field(rows, row, 2),
                           field(rows, row, 3), numberField(rows, row, 4), numberField(rows, row, 5),
                           flagField(rows, row, 6)});
    }
    return out;
  });
}

bool PostgresDeviceStore::revoke(std::int64_t id) {
  std::lock_guard lock(mutex_);
  return retried([&] {
    if (connect()) return false;
    auto update = Params().number(id).run(connection_, "UPDATE devices SET revoked = true WHERE id = $1");
    return succeeded(update) && std::string_view(PQcmdTuples(update.get())) != "0";
  });
}

std::variant<std::string, StoreError> PostgresDeviceStore::formSecret() {
  std::lock_guard lock(mutex_);
  return retried([&]() -> std::variant<std::string, StoreError> {
    if (auto error = connect()) return StoreError{"cannot read the form secret: " + *error};
    // The first server to ask makes it; the others read the same row.
    Params()
        .text(randomToken())
        .run(connection_,
             "INSERT INTO server_secrets (name, value) VALUES ('form', $1) ON CONFLICT (name) DO NOTHING");
    auto row = run(connection_, "SELECT value FROM server_secrets WHERE name = 'form'");
    if (!hasOneRow(row)) return StoreError{"cannot read the form secret: " + lastError()};
    return field(row, 0, 0);
  });
}

std::variant<std::string, StoreError> PostgresDeviceStore::createPairingCode(const PairingRequest& request) {
  std::lock_guard lock(mutex_);
  return retried([&]() -> std::variant<std::string, StoreError> {
    if (auto error = connect()) return StoreError{"cannot store pairing code: " + *error};
    const std::int64_t now = clock_();
    Params()
        .number(now - kCodeLifetimeSeconds)
        .run(connection_, "DELETE FROM pairing_codes WHERE expires < $1");
    const std::string code = randomToken();
    auto insert = Params()
                      .bytes(sha256(code))
                      .text(request.codeChallenge)
                      .text(request.deviceName)
                      .text(request.platform)
                      .number(now + kCodeLifetimeSeconds)
                      .run(connection_,
                           "INSERT INTO pairing_codes (code_hash, challenge, device_name, platform, expires) "
                           "VALUES ($1, $2, $3, $4, $5)");
    if (!succeeded(insert)) return StoreError{"cannot store pairing code: " + lastError()};
    return code;
  });
}

std::variant<std::string, ExchangeError> PostgresDeviceStore::exchange(std::string_view code,
                                                                       std::string_view verifier,
                                                                       std::string_view fingerprint) {
  std::lock_guard lock(mutex_);
  return retried([&] { return exchangeOnce(code, verifier, fingerprint); });
}

std::variant<std::string, ExchangeError> PostgresDeviceStore::exchangeOnce(std::string_view code,
                                                                           std::string_view verifier,
                                                                           std::string_view fingerprint) {
  if (connect() || !succeeded(run(connection_, "BEGIN"))) return ExchangeError::storeFailed;
  // As in the single-server store, a token goes out only once the
  // transaction that stores it committed, and so does a refusal's "used".
  auto finish =
      [&](std::variant<std::string, ExchangeError> result) -> std::variant<std::string, ExchangeError> {
    if (std::holds_alternative<ExchangeError>(result) &&
        std::get<ExchangeError>(result) == ExchangeError::storeFailed) {
      run(connection_, "ROLLBACK");
      return result;
    }
    if (!committed(connection_)) return ExchangeError::storeFailed;
    return result;
  };
  const std::string hash = sha256(code);
  // FOR UPDATE: a second server trading the same code at the same moment
  // waits here, then finds it used.
  auto row = Params().bytes(hash).run(connection_,
                                      "SELECT challenge, device_name, platform, expires, used FROM "
                                      "pairing_codes WHERE code_hash = $1 FOR UPDATE");
  if (!succeeded(row)) return finish(ExchangeError::storeFailed);
  if (PQntuples(row.get()) != 1) return finish(ExchangeError::unknownCode);
  if (flagField(row, 0, 4)) return finish(ExchangeError::codeUsed);
  if (!succeeded(
          Params().bytes(hash).run(connection_, "UPDATE pairing_codes SET used = true WHERE code_hash = $1")))
    return finish(ExchangeError::storeFailed);
  if (numberField(row, 0, 3) < clock_()) return finish(ExchangeError::codeExpired);
  if (!pkceMatches(verifier, field(row, 0, 0))) return finish(ExchangeError::verifierMismatch);
  const std::string token = randomToken();
  auto insert = Params()
                    .text(field(row, 0, 1))
                    .text(field(row, 0, 2))
                    .text(fingerprint)
                    .bytes(sha256(token))
                    .number(clock_())
                    .run(connection_,
                         "INSERT INTO devices (name, platform, fingerprint, token_hash, created) "
                         "VALUES ($1, $2, $3, $4, $5)");
  if (!succeeded(insert)) return finish(ExchangeError::storeFailed);
  return finish(token);
}

}  // namespace pellum::server
