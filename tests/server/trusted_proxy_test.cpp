#include "trusted_proxy.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

TEST(TrustedProxiesTest, ListOfAddresses) {
  auto proxies = TrustedProxies::parse("127.0.0.1, 10.0.0.2,::1");
  ASSERT_TRUE(proxies.has_value());
  EXPECT_TRUE(proxies->trusts("127.0.0.1"));
  EXPECT_TRUE(proxies->trusts("10.0.0.2"));
  EXPECT_TRUE(proxies->trusts("::1"));
  EXPECT_FALSE(proxies->trusts("10.0.0.3"));
  EXPECT_TRUE(TrustedProxies::parse("::ffff:10.0.0.2")->trusts("10.0.0.2"));
  EXPECT_FALSE(TrustedProxies::parse("proxy.example").has_value());
  EXPECT_FALSE(TrustedProxies::parse("10.0.0.0/8").has_value());
  EXPECT_FALSE(TrustedProxies::parse("").has_value());
}

TEST(TrustedProxiesTest, ClientIsTheAddressTheProxyAdded) {
  const auto proxies = *TrustedProxies::parse("127.0.0.1");
  // The first entries are whatever the client sent; only the last is the
  // proxy's own.
  EXPECT_EQ(proxies.clientOf("127.0.0.1", "1.2.3.4, 203.0.113.7"), "203.0.113.7");
  EXPECT_EQ(proxies.clientOf("127.0.0.1", "203.0.113.7"), "203.0.113.7");
  EXPECT_EQ(proxies.clientOf("127.0.0.1", "2001:db8::5"), "2001:db8::5");
  EXPECT_EQ(proxies.clientOf("127.0.0.1", "garbage"), "127.0.0.1");
  EXPECT_EQ(proxies.clientOf("127.0.0.1", std::nullopt), "127.0.0.1");
}

TEST(TrustedProxiesTest, UntrustedPeerCannotNameAnotherClient) {
  const auto proxies = *TrustedProxies::parse("127.0.0.1");
  EXPECT_EQ(proxies.clientOf("198.51.100.9", "203.0.113.7"), "198.51.100.9");
  EXPECT_EQ(TrustedProxies().clientOf("127.0.0.1", "203.0.113.7"), "127.0.0.1");
}

}  // namespace
}  // namespace pellum::server
