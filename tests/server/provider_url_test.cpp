#include "provider_url.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

TEST(ProviderUrlTest, HttpsBaseWithPath) {
  auto url = parseProviderUrl("https://api.groq.com/openai/v1/");
  ASSERT_TRUE(url);
  EXPECT_TRUE(url->tls);
  EXPECT_EQ(url->host, "api.groq.com");
  EXPECT_EQ(url->port, "443");
  EXPECT_EQ(url->path, "/openai/v1");
  EXPECT_EQ(url->hostHeader(), "api.groq.com");
}

TEST(ProviderUrlTest, PlainHostWithPortAndNoPath) {
  auto url = parseProviderUrl("http://127.0.0.1:8080");
  ASSERT_TRUE(url);
  EXPECT_FALSE(url->tls);
  EXPECT_EQ(url->port, "8080");
  EXPECT_EQ(url->target(), "/");
  EXPECT_EQ(url->hostHeader(), "127.0.0.1:8080");
}

TEST(ProviderUrlTest, SocketUrlKeepsItsQuery) {
  auto url = parseProviderUrl("wss://api.gladia.io/v2/live?token=abc-123");
  ASSERT_TRUE(url);
  EXPECT_TRUE(url->tls);
  EXPECT_EQ(url->target(), "/v2/live?token=abc-123");
}

TEST(ProviderUrlTest, BracketedIpv6) {
  auto url = parseProviderUrl("http://[::1]:9000/v1");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->host, "::1");
  EXPECT_EQ(url->hostHeader(), "[::1]:9000");
}

TEST(ProviderUrlTest, RefusesWhatIsNotAProviderUrl) {
  for (const char* text :
       {"", "api.groq.com", "ftp://host/", "https://", "https://:443/", "http://host:0", "http://host:99999",
        "http://host:x", "http://user:pw@host/", "http://host/#frag", "http://[::1/"}) {
    EXPECT_FALSE(parseProviderUrl(text)) << text;
  }
}

}  // namespace
}  // namespace pellum::server
