#pragma once

#include <optional>
#include <string>

#include "account/keychain_error.h"

namespace pellum {

// The device token's home outside the process: one secret item named by the
// three parts of token_item.h. `AuthService` is its only user: it loads the
// token once at start-up, saves it after a successful exchange and deletes
// it at sign-out.
//
// Thread contract: every operation is synchronous and may be called from
// any thread; the store itself serialises access.
class TokenStore {
 public:
  virtual ~TokenStore() = default;

  // The stored token, or nothing when there is none or the store cannot be
  // read (locked, refused, no secret service); the reason is not reported.
  // An empty item yields the empty string, which counts as a token.
  virtual std::optional<std::string> loadToken() = 0;

  // Replaces the stored token by deleting the item and adding a new one, so
  // the new item always carries this store's protection whatever an older
  // item had. A failed add is not undone: no token is stored then.
  [[nodiscard]] virtual std::optional<KeychainError> saveToken(const std::string& token) = 0;

  // Removes the item; a missing item is not an error and nothing is reported.
  virtual void deleteToken() = 0;
};

}  // namespace pellum
