#include "csrf_check.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

constexpr std::string_view kToken = "secret-form-token";

BrowserPost fromOwnPage() {
  return BrowserPost{"http://127.0.0.1:3000", "same-origin", "127.0.0.1:3000", kToken};
}

TEST(ServerCsrfCheckTest, OwnPageIsAccepted) { EXPECT_TRUE(isSameSitePost(fromOwnPage(), kToken)); }

TEST(ServerCsrfCheckTest, BrowsersWithoutFetchMetadataAreAccepted) {
  BrowserPost post = fromOwnPage();
  post.origin.reset();
  post.fetchSite.reset();
  EXPECT_TRUE(isSameSitePost(post, kToken));
}

TEST(ServerCsrfCheckTest, MissingOrWrongTokenIsRefused) {
  BrowserPost post = fromOwnPage();
  post.formToken.reset();
  EXPECT_FALSE(isSameSitePost(post, kToken));
  post.formToken = "secret-form-tokeN";
  EXPECT_FALSE(isSameSitePost(post, kToken));
}

TEST(ServerCsrfCheckTest, ForeignOriginIsRefusedEvenWithTheToken) {
  BrowserPost post = fromOwnPage();
  post.origin = "https://evil.example";
  EXPECT_FALSE(isSameSitePost(post, kToken));
  post = fromOwnPage();
  post.fetchSite = "cross-site";
  EXPECT_FALSE(isSameSitePost(post, kToken));
  post.fetchSite = "same-site";
  EXPECT_FALSE(isSameSitePost(post, kToken));
}

TEST(ServerCsrfCheckTest, EmptyExpectedTokenRefusesEverything) {
  BrowserPost post = fromOwnPage();
  post.formToken = "";
  EXPECT_FALSE(isSameSitePost(post, ""));
}

TEST(ServerCsrfCheckTest, DirectHostsAreIpLiteralsAndLocalhost) {
  for (const char* host : {"127.0.0.1:3000", "127.0.0.1", "localhost:3000", "localhost", "[::1]:3000",
                           "[::1]", "192.168.1.20:3000"}) {
    EXPECT_TRUE(isDirectHost(host)) << host;
  }
  for (const char* host : {"", "evil.example:3000", "evil.example", "127.0.0.1.evil.example", "1.2.3:3000",
                           "localhost.evil.example", "[::1]x", "[evil]:1", "[::1"}) {
    EXPECT_FALSE(isDirectHost(host)) << host;
  }
}

TEST(ServerCsrfCheckTest, PageServedOverTlsByAProxyComparesTheHttpsOrigin) {
  BrowserPost post{"https://pellum.example.org", "same-origin", "pellum.example.org", kToken, "https"};
  EXPECT_TRUE(isSameSitePost(post, kToken));
  post.origin = "http://pellum.example.org";
  EXPECT_FALSE(isSameSitePost(post, kToken));
  post.scheme = "http";
  EXPECT_TRUE(isSameSitePost(post, kToken));
}

}  // namespace
}  // namespace pellum::server
