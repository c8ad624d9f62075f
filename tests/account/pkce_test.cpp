#include "account/pkce.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

// RFC 7636, Appendix B: the verifier's 32 octets, the verifier, the challenge.
const std::string kRfcVerifierBytes{'\x74', '\x18', '\xdf', '\xb4', '\x97', '\x99', '\xe0', '\x25',
                                    '\x4f', '\xfa', '\x60', '\x7d', '\xd8', '\xad', '\xbb', '\xba',
                                    '\x16', '\xd4', '\x25', '\x4d', '\x69', '\xd6', '\xbf', '\xf0',
                                    '\x5b', '\x58', '\x05', '\x58', '\x53', '\x84', '\x8d', '\x79'};
constexpr const char* kRfcVerifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
constexpr const char* kRfcChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

TEST(Pkce, ChallengeOfTheRfcVerifier) { EXPECT_EQ(codeChallenge(kRfcVerifier), kRfcChallenge); }

TEST(Pkce, SecretsFromTheRfcBytes) {
  const auto secrets = makePairingSecrets(kRfcVerifierBytes, std::string(kStateBytes, '\x01'));
  EXPECT_EQ(secrets.verifier, kRfcVerifier);
  EXPECT_EQ(secrets.challenge, kRfcChallenge);
  EXPECT_EQ(secrets.state, "AQEBAQEBAQEBAQEBAQEBAQ");
}

TEST(Pkce, LengthsAreFortyThreeTwentyTwoAndFortyThree) {
  const auto secrets =
      makePairingSecrets(std::string(kVerifierBytes, '\xff'), std::string(kStateBytes, '\xfe'));
  EXPECT_EQ(secrets.verifier.size(), 43u);
  EXPECT_EQ(secrets.state.size(), 22u);
  EXPECT_EQ(secrets.challenge.size(), 43u);
}

}  // namespace
}  // namespace pellum
