#include "random_bytes.h"

#include <sys/random.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "pkce.h"

namespace pellum::server {

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t filled = 0;
  while (filled < count) {
    const ssize_t got = getrandom(bytes.data() + filled, count - filled, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      std::fprintf(stderr, "pellum-server: getrandom failed\n");
      std::abort();
    }
    filled += static_cast<std::size_t>(got);
  }
  return bytes;
}

std::string randomToken() { return base64Url(randomBytes(32)); }

}  // namespace pellum::server
