#pragma once

#include <string>
#include <string_view>

namespace pellum::server {

// Standard Base64 of `bytes` with "+" → "-", "/" → "_" and no "=" padding.
std::string base64Url(std::string_view bytes);

// The 32-byte SHA-256 digest of `bytes`.
std::string sha256(std::string_view bytes);

// Whether base64Url(sha256(verifier)) equals `challenge` (PKCE S256),
// compared in constant time. A verifier outside RFC 7636's 43–128 characters
// of [A-Za-z0-9-._~] never matches.
bool pkceMatches(std::string_view verifier, std::string_view challenge);

// Whether two byte strings are equal, in time that depends only on their lengths.
bool constantTimeEqual(std::string_view a, std::string_view b);

}  // namespace pellum::server
