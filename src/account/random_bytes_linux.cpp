#include <sys/random.h>

#include <cerrno>

#include "account/random_bytes.h"

namespace pellum {

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t filled = 0;
  // getrandom blocks only until the kernel's pool is first seeded, and
  // requests of up to 256 bytes are never cut short; the loop covers
  // signals all the same.
  while (filled < count) {
    const ssize_t got = ::getrandom(bytes.data() + filled, count - filled, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return bytes;
}

}  // namespace pellum
