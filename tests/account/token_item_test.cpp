#include "account/token_item.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

TEST(TokenItem, ServiceIsTheAppId) { EXPECT_EQ(tokenService("app.pellum.Pellum"), "app.pellum.Pellum"); }

TEST(TokenItem, BuildWithoutAnIdStoresUnderTheFallbackService) {
  EXPECT_EQ(tokenService(""), "app.pellum.macos");
  EXPECT_EQ(kTokenAccount, "device_token");
}

}  // namespace
}  // namespace pellum
