#include "pkce.h"

#include <gtest/gtest.h>

#include "base/crypto.h"

namespace pellum::server {
namespace {

// RFC 7636, Appendix B. The encoding and hash vectors themselves live in
// tests/base/crypto_test.cpp; these cases check the matching rules.
constexpr std::string_view kVerifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
constexpr std::string_view kChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

TEST(ServerPkceTest, Rfc7636AppendixBPairMatches) { EXPECT_TRUE(pkceMatches(kVerifier, kChallenge)); }

TEST(ServerPkceTest, OtherVerifierDoesNotMatch) {
  std::string other(kVerifier);
  other.back() = 'Y';
  EXPECT_FALSE(pkceMatches(other, kChallenge));
}

TEST(ServerPkceTest, PaddedOrStandardBase64ChallengeDoesNotMatch) {
  EXPECT_FALSE(pkceMatches(kVerifier, std::string(kChallenge) + "="));
  EXPECT_FALSE(pkceMatches(kVerifier, "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw+cM"));
}

TEST(ServerPkceTest, VerifierOutsideTheRfcShapeNeverMatches) {
  const std::string shortVerifier = "abc";
  EXPECT_FALSE(pkceMatches(shortVerifier, base64UrlEncode(sha256(shortVerifier))));
  const std::string badCharacter(43, '!');
  EXPECT_FALSE(pkceMatches(badCharacter, base64UrlEncode(sha256(badCharacter))));
  const std::string tooLong(129, 'a');
  EXPECT_FALSE(pkceMatches(tooLong, base64UrlEncode(sha256(tooLong))));
}

TEST(ServerPkceTest, VerifiersAtTheLengthLimitsMatch) {
  const std::string shortest(43, 'a'), longest(128, '~');
  EXPECT_TRUE(pkceMatches(shortest, base64UrlEncode(sha256(shortest))));
  EXPECT_TRUE(pkceMatches(longest, base64UrlEncode(sha256(longest))));
}

}  // namespace
}  // namespace pellum::server
