#pragma once

#include <mutex>

#include "device_store.h"

struct pg_conn;

namespace pellum::server {

// The store that several servers share: a PostgreSQL database, reached
// through one libpq connection per server (calls are serialised by one
// lock, as the SQLite store's are). The schema is created and upgraded by
// the server itself, in order, as recorded in the schema_migrations table;
// servers that start together take turns through an advisory lock. A lost
// connection is made again on the next call, and a call that found it lost
// is tried once more on the new one.
class PostgresDeviceStore final : public DeviceStore {
 public:
  // `url` is a libpq connection URI; its own parameters win over the
  // defaults set here (connect_timeout=5, statement_timeout=5 s,
  // tcp_user_timeout=10 s), so no call waits on the database for ever.
  static std::variant<std::unique_ptr<DeviceStore>, StoreError> open(const std::string& url, Clock clock);
  ~PostgresDeviceStore() override;

  std::optional<Device> authenticate(std::string_view token) override;
  std::optional<std::string> unreachable() override;
  std::variant<std::string, StoreError> addDevice(std::string_view name, std::string_view platform,
                                                  std::string_view fingerprint) override;
  std::vector<Device> devices() override;
  bool revoke(std::int64_t id) override;
  std::variant<std::string, StoreError> formSecret() override;
  std::variant<std::string, StoreError> createPairingCode(const PairingRequest& request) override;
  std::variant<std::string, ExchangeError> exchange(std::string_view code, std::string_view verifier,
                                                    std::string_view fingerprint) override;

  // The newest schema version this server knows.
  static int latestSchemaVersion();

 private:
  PostgresDeviceStore(std::string url, Clock clock) : url_(std::move(url)), clock_(std::move(clock)) {}
  // Connects when there is no working connection; the error when it cannot.
  std::optional<std::string> connect();
  // True when the last failure was the connection's: worth one more try.
  bool connectionLost() const;
  std::optional<std::string> migrate();
  std::string lastError() const;
  // Runs `attempt`, and once more when it found the connection lost (the
  // database restarted, a proxy closed it): the second try connects anew.
  template <typename Attempt>
  auto retried(Attempt attempt) {
    auto result = attempt();
    if (connectionLost()) result = attempt();
    return result;
  }
  std::variant<std::string, ExchangeError> exchangeOnce(std::string_view code, std::string_view verifier,
                                                        std::string_view fingerprint);

  std::string url_;
  Clock clock_;
  pg_conn* connection_ = nullptr;
  std::mutex mutex_;
};

}  // namespace pellum::server
