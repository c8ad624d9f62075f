#include "random_token.h"

#include "base/crypto.h"

namespace pellum::server {

std::string randomToken() { return base64UrlEncode(randomBytes(32)); }

}  // namespace pellum::server
