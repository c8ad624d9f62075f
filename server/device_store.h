#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

struct sqlite3;

namespace pellum::server {

struct Device {
  std::int64_t id = 0;
  std::string name;
  std::string platform;
  std::string fingerprint;
  std::int64_t created = 0;   // seconds since the epoch
  std::int64_t lastSeen = 0;  // 0: never used
  bool revoked = false;
};

// What the pairing page was asked to approve.
struct PairingRequest {
  std::string codeChallenge;
  std::string deviceName;
  std::string platform;
};

struct StoreError {
  std::string description;
};

enum class ExchangeError { unknownCode, codeUsed, codeExpired, verifierMismatch, storeFailed };
std::string_view describe(ExchangeError error);

// The devices paired with this server and the pairing codes in flight, in
// an SQLite file (WAL, so admin commands can run beside the server).
// Tokens and codes are kept only as SHA-256 hashes. Every method may be
// called from any thread; calls are serialised by one lock.
class DeviceStore {
 public:
  using Clock = std::function<std::int64_t()>;  // seconds since the epoch
  static constexpr std::int64_t kCodeLifetimeSeconds = 5 * 60;

  // Opens (creating if needed) "devices.sqlite3" in `dataDir`, creating the
  // directory with owner-only access. A file that fails SQLite's quick_check
  // is refused with an error that says so, and is left as it is.
  static std::variant<std::unique_ptr<DeviceStore>, StoreError> open(const std::string& dataDir,
                                                                     Clock clock = {});
  ~DeviceStore();
  DeviceStore(const DeviceStore&) = delete;
  DeviceStore& operator=(const DeviceStore&) = delete;

  // The device a token belongs to, when it exists and is not revoked; marks
  // it seen. Found by the token's SHA-256 through a unique index.
  std::optional<Device> authenticate(std::string_view token);
  // Why the store cannot be read now; nothing when it can (for /readyz).
  std::optional<std::string> unreachable();

  // Creates a device and returns its new token.
  std::variant<std::string, StoreError> addDevice(std::string_view name, std::string_view platform,
                                                  std::string_view fingerprint);
  std::vector<Device> devices();
  // False when no such device exists.
  bool revoke(std::int64_t id);

  // Records an approved pairing and returns its single-use code.
  std::variant<std::string, StoreError> createPairingCode(const PairingRequest& request);

  // Trades a code and its PKCE verifier for a new device token. A known code
  // is used up by the attempt, whether it succeeds or not. storeFailed when
  // the transaction could not be committed: then nothing changed and no
  // token exists.
  std::variant<std::string, ExchangeError> exchange(std::string_view code, std::string_view verifier,
                                                    std::string_view fingerprint);

 private:
  DeviceStore(sqlite3* db, Clock clock) : db_(db), clock_(std::move(clock)) {}
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
  std::mutex mutex_;
};

}  // namespace pellum::server
