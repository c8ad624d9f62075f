#include "account/pairing_url.h"

#include <gtest/gtest.h>

#include "account/device_identity.h"

namespace pellum {
namespace {

PairingRequest request(std::string deviceName = "desk") {
  return {"E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM", "AQEBAQEBAQEBAQEBAQEBAQ", std::move(deviceName),
          "linux", "pellum"};
}

TEST(PairingUrl, QueryItemsInOrder) {
  EXPECT_EQ(pairingURL("http://127.0.0.1:3000", request()),
            "http://127.0.0.1:3000/devices/pair?code_challenge=E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM"
            "&state=AQEBAQEBAQEBAQEBAQEBAQ&device_name=desk&platform=linux&url_scheme=pellum");
}

TEST(PairingUrl, HostWithNoNameCarriesTheFallbackName) {
  const std::string url =
      pairingURL("http://127.0.0.1:3000", request(deviceName(std::nullopt, std::nullopt)));
  EXPECT_NE(url.find("&device_name=Linux&"), std::string::npos) << url;
}

TEST(PairingUrl, DeviceNameIsPercentEncodedSoPlusAndBlanksSurvive) {
  const std::string url = pairingURL("http://h", request("Ann's C++ Box/é"));
  EXPECT_NE(url.find("&device_name=Ann%27s%20C%2B%2B%20Box%2F%C3%A9&"), std::string::npos) << url;
}

struct JoinCase {
  const char* name;
  std::string base;
  std::string expected;
};

class AppendPathTest : public ::testing::TestWithParam<JoinCase> {};

TEST_P(AppendPathTest, Joins) {
  EXPECT_EQ(appendPathComponent(GetParam().base, "devices/pair"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, AppendPathTest,
    ::testing::Values(JoinCase{"NoPath", "http://127.0.0.1:3000", "http://127.0.0.1:3000/devices/pair"},
                      JoinCase{"RootPath", "http://h:3000/", "http://h:3000/devices/pair"},
                      JoinCase{"SubPath", "https://h/app", "https://h/app/devices/pair"},
                      JoinCase{"SubPathWithSlash", "https://h/app/", "https://h/app/devices/pair"},
                      JoinCase{"QueryIsDropped", "https://h/app?x=1", "https://h/app/devices/pair"}),
    [](const auto& testCase) { return std::string(testCase.param.name); });

TEST(ExchangeUrl, IsUnderTheBase) {
  EXPECT_EQ(exchangeURL("http://127.0.0.1:3000"), "http://127.0.0.1:3000/api/devices/exchange");
}

}  // namespace
}  // namespace pellum
