#include "random_token.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

TEST(RandomTokenTest, IsFortyThreeBase64UrlCharacters) {
  const std::string token = randomToken();
  EXPECT_EQ(token.size(), 43u);
  EXPECT_EQ(token.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
            std::string::npos)
      << token;
}

// 256 bits each: two equal tokens mean a broken generator.
TEST(RandomTokenTest, TwoTokensDiffer) { EXPECT_NE(randomToken(), randomToken()); }

}  // namespace
}  // namespace pellum::server
