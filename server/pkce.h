#pragma once

#include <string_view>

namespace pellum::server {

// Whether base64UrlEncode(sha256(verifier)) equals `challenge` (PKCE S256),
// compared in constant time. A verifier outside RFC 7636's 43–128 characters
// of [A-Za-z0-9-._~] never matches.
bool pkceMatches(std::string_view verifier, std::string_view challenge);

}  // namespace pellum::server
