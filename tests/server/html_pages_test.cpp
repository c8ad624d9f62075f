#include "html_pages.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

TEST(ServerHtmlPagesTest, EscapesMarkup) {
  EXPECT_EQ(htmlEscape(R"(<a href="x">'&'</a>)"), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;&#39;&lt;/a&gt;");
}

TEST(ServerHtmlPagesTest, PairingPageCarriesEveryValueEscaped) {
  PairingQuery query{"E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM", "s\"1", "<script>x</script>", "linux",
                     "pellum"};
  const std::string page = pairingPage(query, "tok");
  EXPECT_EQ(page.find("<script>x"), std::string::npos);
  EXPECT_NE(page.find("&lt;script&gt;x"), std::string::npos);
  EXPECT_NE(page.find(R"(name="state" value="s&quot;1")"), std::string::npos);
  EXPECT_NE(page.find(R"(name="csrf" value="tok")"), std::string::npos);
  EXPECT_NE(page.find(R"(method="post" action="/devices/pair")"), std::string::npos);
}

TEST(ServerHtmlPagesTest, HomePageOffersRevokeOnlyForActiveDevices) {
  const std::vector<Device> devices{{1, "Desk", "linux", "", 0, 0, false},
                                    {2, "Old", "macos", "", 0, 0, true}};
  const std::string page = homePage(devices, "tok");
  EXPECT_NE(page.find(R"(name="id" value="1")"), std::string::npos);
  EXPECT_EQ(page.find(R"(name="id" value="2")"), std::string::npos);
  EXPECT_NE(page.find("revoked"), std::string::npos);
}

}  // namespace
}  // namespace pellum::server
