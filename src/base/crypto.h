#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace pellum {

// The hashing, keyed hashing, randomness and encoding that sign-in, the
// device fingerprint and the server's device store rest on, over OpenSSL's
// libcrypto: one implementation that the client and the server share. Every
// function may be called from any thread.

// SHA-256 (FIPS 180-4) of `bytes`: the 32-byte digest as raw bytes.
// libcrypto fails here only when it cannot allocate; the process then stops
// with one line on stderr, as on any other allocation failure.
std::string sha256(std::string_view bytes);

// HMAC-SHA-256 (RFC 2104) of `message` under `key`, which may have any
// length, none included: the 32-byte code as raw bytes. Fails only as
// sha256 does.
std::string hmacSha256(std::string_view key, std::string_view message);

// `count` bytes from libcrypto's generator, which the kernel seeds. When the
// generator cannot give them (it could not be seeded) the process stops with
// one line on stderr: a token or verifier made of weaker randomness would be
// worse than no sign-in at all.
std::string randomBytes(std::size_t count);

// Unpadded URL-safe Base64 of `bytes`, made the way the pairing protocol
// fixes it: standard Base64 without line breaks, then every "+" becomes "-",
// every "/" becomes "_", and every "=" is dropped; (4 * size + 2) / 3
// characters. Never fails.
std::string base64UrlEncode(std::string_view bytes);

// Whether `a` and `b` hold the same bytes, in time that depends only on their
// lengths, so comparing a secret tells an attacker nothing about how much of
// it was right. Never fails.
bool constantTimeEqual(std::string_view a, std::string_view b);

}  // namespace pellum
