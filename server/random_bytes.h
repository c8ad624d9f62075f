#pragma once

#include <cstddef>
#include <string>

namespace pellum::server {

// `count` bytes from the kernel's CSPRNG (getrandom). Stops the process if
// the kernel cannot supply them: a token made of weaker randomness would be
// worse than no server.
std::string randomBytes(std::size_t count);

// 32 random bytes as unpadded base64url (43 characters): device tokens and
// pairing codes.
std::string randomToken();

}  // namespace pellum::server
