#include "pairing_query.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

constexpr const char* kChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

QueryItems validItems() {
  return QueryItems{{"code_challenge", kChallenge},
                    {"state", "st4te"},
                    {"device_name", "Ann's laptop"},
                    {"platform", "linux"},
                    {"url_scheme", "pellum"}};
}

TEST(ServerPairingQueryTest, ReadsAValidRequest) {
  auto parsed = parsePairingQuery(validItems());
  ASSERT_TRUE(std::holds_alternative<PairingQuery>(parsed));
  const auto& query = std::get<PairingQuery>(parsed);
  EXPECT_EQ(query.codeChallenge, kChallenge);
  EXPECT_EQ(query.state, "st4te");
  EXPECT_EQ(query.deviceName, "Ann's laptop");
  EXPECT_EQ(query.platform, "linux");
  EXPECT_EQ(query.urlScheme, "pellum");
}

TEST(ServerPairingQueryTest, NameAndPlatformDefault) {
  auto items = validItems();
  items.erase("device_name");
  items.erase("platform");
  const auto parsed = parsePairingQuery(items);
  const auto& query = std::get<PairingQuery>(parsed);
  EXPECT_EQ(query.deviceName, "Unnamed device");
  EXPECT_EQ(query.platform, "unknown");
}

TEST(ServerPairingQueryTest, RefusesBadValues) {
  struct Case {
    const char* key;
    std::string value;
  };
  for (const auto& [key, value] : std::vector<Case>{{"code_challenge", ""},
                                                    {"code_challenge", "short"},
                                                    {"code_challenge", std::string(42, 'a') + "="},
                                                    {"state", ""},
                                                    {"state", std::string(513, 's')},
                                                    {"url_scheme", "https"},
                                                    {"url_scheme", "javascript"},
                                                    {"url_scheme", ""},
                                                    {"device_name", std::string(101, 'n')}}) {
    auto items = validItems();
    items[key] = value;
    auto parsed = parsePairingQuery(items);
    ASSERT_TRUE(std::holds_alternative<PairingQueryError>(parsed)) << key << "=" << value;
    EXPECT_FALSE(std::get<PairingQueryError>(parsed).description.empty());
  }
}

}  // namespace
}  // namespace pellum::server
