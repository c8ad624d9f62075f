#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

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

// The devices paired with this server and the pairing codes in flight.
// Tokens and codes are kept only as SHA-256 hashes. Every method may be
// called from any thread. Nothing is cached: every replica that shares a
// store sees a revocation on its next request.
class DeviceStore {
 public:
  using Clock = std::function<std::int64_t()>;  // seconds since the epoch
  static constexpr std::int64_t kCodeLifetimeSeconds = 5 * 60;

  virtual ~DeviceStore() = default;

  // The device a token belongs to, when it exists and is not revoked; marks
  // it seen. Found by the token's SHA-256 through a unique index: timing can
  // tell a guesser at most how much of a SHA-256 they matched.
  virtual std::optional<Device> authenticate(std::string_view token) = 0;
  // Why the store cannot be read now; nothing when it can (for /readyz).
  virtual std::optional<std::string> unreachable() = 0;

  // Creates a device and returns its new token.
  virtual std::variant<std::string, StoreError> addDevice(std::string_view name, std::string_view platform,
                                                          std::string_view fingerprint) = 0;
  virtual std::vector<Device> devices() = 0;
  // False when no such device exists.
  virtual bool revoke(std::int64_t id) = 0;

  // The secret the approve and revoke forms must carry back. Every server on
  // a shared store gets the same one, so a page made by one server can be
  // posted to another.
  virtual std::variant<std::string, StoreError> formSecret() = 0;

  // Records an approved pairing and returns its single-use code.
  virtual std::variant<std::string, StoreError> createPairingCode(const PairingRequest& request) = 0;

  // Trades a code and its PKCE verifier for a new device token. A known code
  // is used up by the attempt, whether it succeeds or not, and by one
  // attempt only, however many servers share the store. storeFailed when
  // the transaction could not be committed: then nothing changed and no
  // token exists.
  virtual std::variant<std::string, ExchangeError> exchange(std::string_view code, std::string_view verifier,
                                                            std::string_view fingerprint) = 0;
};

// Where the devices are kept: a PostgreSQL connection string
// ("postgresql://…" or "postgres://…"), or "" for the SQLite file in the
// data directory.
struct StoreLocation {
  std::string url;
  std::string dataDir;
};

// Opens the store, creating or upgrading its schema when needed.
std::variant<std::unique_ptr<DeviceStore>, StoreError> openDeviceStore(const StoreLocation& location,
                                                                       DeviceStore::Clock clock = {});

// Seconds since the epoch, by the system clock.
std::int64_t systemSeconds();

}  // namespace pellum::server
