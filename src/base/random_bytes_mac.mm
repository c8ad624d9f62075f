// Randomness on macOS from the Security framework, so the Mac build does
// not need libcrypto for it.
//
// - SecRandomCopyBytes(kSecRandomDefault, ...): kSecRandomDefault names the
//   system's cryptographically secure generator; the call returns
//   errSecSuccess only when it filled the whole buffer, and Apple asks that
//   the status always be tested before the bytes are used.
// - It takes the count as size_t, so any length goes in one call.

#include <Security/SecRandom.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/crypto.h"
#include "base/log_line.h"

namespace pellum {

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  if (count == 0) return bytes;
  const OSStatus status = SecRandomCopyBytes(kSecRandomDefault, count, bytes.data());
  if (status != errSecSuccess) {
    printLine(stderr, "crypto: the random generator could not give " + std::to_string(count) +
                          " bytes (OSStatus " + std::to_string(status) + ")");
    std::abort();
  }
  return bytes;
}

}  // namespace pellum
