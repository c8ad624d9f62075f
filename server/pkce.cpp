#include "pkce.h"

#include <openssl/crypto.h>
#include <openssl/sha.h>

#include <array>

namespace pellum::server {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

bool isVerifierCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

}  // namespace

std::string base64Url(std::string_view bytes) {
  std::string out;
  out.reserve((bytes.size() * 4 + 2) / 3);
  std::size_t i = 0;
  auto byte = [&](std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<std::uint8_t>(bytes[at]));
  };
  for (; i + 3 <= bytes.size(); i += 3) {
    const std::uint32_t n = (byte(i) << 16) | (byte(i + 1) << 8) | byte(i + 2);
    for (int shift = 18; shift >= 0; shift -= 6) out.push_back(kAlphabet[(n >> shift) & 63]);
  }
  const std::size_t rest = bytes.size() - i;
  if (rest == 1) {
    const std::uint32_t n = byte(i) << 16;
    out.push_back(kAlphabet[(n >> 18) & 63]);
    out.push_back(kAlphabet[(n >> 12) & 63]);
  } else if (rest == 2) {
    const std::uint32_t n = (byte(i) << 16) | (byte(i + 1) << 8);
    out.push_back(kAlphabet[(n >> 18) & 63]);
    out.push_back(kAlphabet[(n >> 12) & 63]);
    out.push_back(kAlphabet[(n >> 6) & 63]);
  }
  return out;
}

std::string sha256(std::string_view bytes) {
  std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
  SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest.data());
  return std::string(reinterpret_cast<const char*>(digest.data()), digest.size());
}

bool constantTimeEqual(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

bool pkceMatches(std::string_view verifier, std::string_view challenge) {
  if (verifier.size() < 43 || verifier.size() > 128) return false;
  for (char c : verifier) {
    if (!isVerifierCharacter(c)) return false;
  }
  return constantTimeEqual(base64Url(sha256(verifier)), challenge);
}

}  // namespace pellum::server
