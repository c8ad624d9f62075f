#pragma once

#include <string>

namespace pellum::server {

// 32 random bytes as unpadded base64url (43 characters): device tokens,
// pairing codes and the pages' form token. Stops the process when the
// generator cannot give them, as randomBytes does.
std::string randomToken();

}  // namespace pellum::server
