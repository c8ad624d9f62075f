#include "pkce.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

// RFC 7636, Appendix B.
constexpr std::string_view kVerifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
constexpr std::string_view kChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

TEST(ServerPkceTest, Rfc7636AppendixBPairMatches) { EXPECT_TRUE(pkceMatches(kVerifier, kChallenge)); }

TEST(ServerPkceTest, Rfc7636AppendixBVerifierBytes) {
  const unsigned char octets[] = {116, 24,  223, 180, 151, 153, 224, 37,  79,  250, 96,
                                  125, 216, 173, 187, 186, 22,  212, 37,  77,  105, 214,
                                  191, 240, 91,  88,  5,   88,  83,  132, 141, 121};
  EXPECT_EQ(base64Url(std::string(reinterpret_cast<const char*>(octets), sizeof octets)), kVerifier);
}

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
  EXPECT_FALSE(pkceMatches(shortVerifier, base64Url(sha256(shortVerifier))));
  const std::string badCharacter(43, '!');
  EXPECT_FALSE(pkceMatches(badCharacter, base64Url(sha256(badCharacter))));
  const std::string tooLong(129, 'a');
  EXPECT_FALSE(pkceMatches(tooLong, base64Url(sha256(tooLong))));
}

TEST(ServerPkceTest, Base64UrlPaddingLengths) {
  EXPECT_EQ(base64Url(""), "");
  EXPECT_EQ(base64Url("f"), "Zg");
  EXPECT_EQ(base64Url("fo"), "Zm8");
  EXPECT_EQ(base64Url("foo"), "Zm9v");
  EXPECT_EQ(base64Url("\xfb\xff"), "-_8");
}

TEST(ServerPkceTest, Sha256OfEmptyInput) {
  EXPECT_EQ(base64Url(sha256("")), "47DEQpj8HBSa-_TImW-5JCeuQeRkm5NMpJWZG3hSuFU");
}

TEST(ServerPkceTest, ConstantTimeEqual) {
  EXPECT_TRUE(constantTimeEqual("abc", "abc"));
  EXPECT_FALSE(constantTimeEqual("abc", "abd"));
  EXPECT_FALSE(constantTimeEqual("abc", "abcd"));
  EXPECT_TRUE(constantTimeEqual("", ""));
}

}  // namespace
}  // namespace pellum::server
