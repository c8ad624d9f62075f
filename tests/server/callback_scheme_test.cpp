#include "callback_scheme.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

TEST(ServerCallbackSchemeTest, AllowsCustomSchemes) {
  for (const char* scheme : {"pellum", "app.pellum.dev", "x", "my-app+v2", "a1"}) {
    EXPECT_TRUE(isAllowedCallbackScheme(scheme)) << scheme;
  }
}

TEST(ServerCallbackSchemeTest, RefusesBrowserSchemes) {
  for (const char* scheme : {"http", "https", "file", "javascript", "data"}) {
    EXPECT_FALSE(isAllowedCallbackScheme(scheme)) << scheme;
  }
}

TEST(ServerCallbackSchemeTest, RefusesOtherWellKnownSchemesThatAreNoApp) {
  for (const char* scheme : {"ftp", "vbscript", "view-source", "about", "blob", "smb", "ssh", "mailto", "tel",
                             "sms", "ws", "wss", "chrome-extension", "intent", "filesystem", "telnet"}) {
    EXPECT_FALSE(isAllowedCallbackScheme(scheme)) << scheme;
  }
}

TEST(ServerCallbackSchemeTest, RefusesSchemesOutsideThePattern) {
  for (const char* scheme :
       {"", "Pellum", "1app", "-app", "pel lum", "pellum:", "pellum/x", "péllum", "JAVASCRIPT", "app_x"}) {
    EXPECT_FALSE(isAllowedCallbackScheme(scheme)) << scheme;
  }
}

TEST(ServerCallbackSchemeTest, RedirectCarriesCodeAndStateEncoded) {
  EXPECT_EQ(pairingRedirect("pellum", "abc-_123", "s t&x=1"),
            "pellum://paired?code=abc-_123&state=s%20t%26x%3D1");
}

}  // namespace
}  // namespace pellum::server
