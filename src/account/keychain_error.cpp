#include "account/keychain_error.h"

namespace pellum {

std::string KeychainError::description() const {
  std::string text = "The operation couldn't be completed. (KeychainError status " + std::to_string(status);
  if (!detail.empty()) text += ": " + detail;
  return text + ")";
}

}  // namespace pellum
