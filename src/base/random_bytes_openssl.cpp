// randomBytes over libcrypto's generator, which the kernel seeds (macOS
// asks the Security framework instead: random_bytes_mac.mm).

#include <openssl/rand.h>

#include <algorithm>
#include <climits>

#include "base/crypto.h"
#include "base/crypto_failure.h"

namespace pellum {

namespace {

// RAND_bytes counts in int: longer requests go in pieces.
constexpr std::size_t kMostRandomPerCall = INT_MAX;

}  // namespace

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t filled = 0; filled < count;) {
    const std::size_t piece = std::min(count - filled, kMostRandomPerCall);
    if (RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()) + filled, static_cast<int>(piece)) != 1) {
      stopOnCryptoFailure("the random generator could not give " + std::to_string(count) + " bytes");
    }
    filled += piece;
  }
  return bytes;
}

}  // namespace pellum
