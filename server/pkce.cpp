#include "pkce.h"

#include "base/crypto.h"

namespace pellum::server {
namespace {

bool isVerifierCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

}  // namespace

bool pkceMatches(std::string_view verifier, std::string_view challenge) {
  if (verifier.size() < 43 || verifier.size() > 128) return false;
  for (char c : verifier) {
    if (!isVerifierCharacter(c)) return false;
  }
  return constantTimeEqual(base64UrlEncode(sha256(verifier)), challenge);
}

}  // namespace pellum::server
