#pragma once

#include <string>
#include <string_view>

namespace pellum {

// SHA-256 (FIPS 180-4) of `bytes`: the 32-byte digest as raw bytes. Written
// out here so the pure core stays free of crypto libraries; it hashes a few
// dozen bytes per sign-in, so speed does not matter.
std::string sha256(std::string_view bytes);

// HMAC-SHA-256 (RFC 2104) of `message` under `key`: 32 raw bytes.
std::string hmacSha256(std::string_view key, std::string_view message);

}  // namespace pellum
