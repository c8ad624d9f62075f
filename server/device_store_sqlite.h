#pragma once

#include <mutex>

#include "device_store.h"

struct sqlite3;

namespace pellum::server {

// The store of a single server: an SQLite file (WAL, so admin commands can
// run beside the server). Calls are serialised by one lock.
class SqliteDeviceStore final : public DeviceStore {
 public:
  // Opens (creating if needed) "devices.sqlite3" in `dataDir`, creating the
  // directory with owner-only access. A file that fails SQLite's quick_check
  // is refused with an error that says so, and is left as it is.
  static std::variant<std::unique_ptr<DeviceStore>, StoreError> open(const std::string& dataDir, Clock clock);
  ~SqliteDeviceStore() override;

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

 private:
  SqliteDeviceStore(sqlite3* db, Clock clock);
  bool execute(const char* sql);
  // What PRAGMA quick_check found wrong, if anything.
  std::optional<std::string> damage();
  bool migrate();
  // COMMIT, rolling back when it fails.
  bool commit();
  std::optional<std::string> insertDevice(std::string_view name, std::string_view platform,
                                          std::string_view fingerprint);

  sqlite3* db_;
  Clock clock_;
  // One server per file: the secret lives as long as the process.
  const std::string formSecret_;
  std::mutex mutex_;
};

}  // namespace pellum::server
