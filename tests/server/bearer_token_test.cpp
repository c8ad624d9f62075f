#include "bearer_token.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

TEST(ServerBearerTokenTest, ReadsTheToken) {
  EXPECT_EQ(bearerToken("Bearer abc_-123"), "abc_-123");
  EXPECT_EQ(bearerToken("bearer abc"), "abc");
  EXPECT_EQ(bearerToken("Bearer   abc  "), "abc");
}

TEST(ServerBearerTokenTest, RefusesOtherSchemesAndEmptyTokens) {
  for (const char* value : {"", "Bearer", "Bearer ", "Bearer    ", "Basic abc", "Bearerabc", "abc"}) {
    EXPECT_EQ(bearerToken(value), std::nullopt) << value;
  }
}

}  // namespace
}  // namespace pellum::server
