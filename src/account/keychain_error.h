#pragma once

#include <string>

namespace pellum {

// The keychain refused to store the token. `status` is the keychain's own
// status code (on Linux, QtKeychain's error number); `detail` is the
// backend's message, when it gave one.
struct KeychainError {
  int status = 0;
  std::string detail;

  // The generic text of a failed keychain operation, naming the status,
  // e.g. "The operation couldn't be completed. (KeychainError status 5: No
  // keychain service available)".
  std::string description() const;

  bool operator==(const KeychainError&) const = default;
};

}  // namespace pellum
