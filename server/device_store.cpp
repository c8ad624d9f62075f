#include "device_store.h"

#include <chrono>

#include "device_store_postgresql.h"
#include "device_store_sqlite.h"
#include "store_url.h"

namespace pellum::server {

std::string_view describe(ExchangeError error) {
  switch (error) {
    case ExchangeError::unknownCode:
      return "unknown pairing code";
    case ExchangeError::codeUsed:
      return "pairing code already used";
    case ExchangeError::codeExpired:
      return "pairing code expired";
    case ExchangeError::verifierMismatch:
      return "code_verifier does not match the code challenge";
    case ExchangeError::storeFailed:
      return "device store failure";
  }
  return "unknown error";
}

std::variant<std::unique_ptr<DeviceStore>, StoreError> openDeviceStore(const StoreLocation& location,
                                                                       DeviceStore::Clock clock) {
  if (!clock) clock = systemSeconds;
  if (location.url.empty()) return SqliteDeviceStore::open(location.dataDir, std::move(clock));
  if (!isStoreUrl(location.url)) return StoreError{"the device store must be a postgresql:// URL"};
  return PostgresDeviceStore::open(location.url, std::move(clock));
}

std::int64_t systemSeconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace pellum::server
