#include "account/base64url.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

struct Case {
  const char* name;
  std::string bytes;
  std::string encoded;
};

class Base64UrlTest : public ::testing::TestWithParam<Case> {};

TEST_P(Base64UrlTest, Encodes) { EXPECT_EQ(base64UrlEncode(GetParam().bytes), GetParam().encoded); }

INSTANTIATE_TEST_SUITE_P(
    Cases, Base64UrlTest,
    ::testing::Values(Case{"Empty", "", ""}, Case{"OneByteDropsTwoPads", "f", "Zg"},
                      Case{"TwoBytesDropOnePad", "fo", "Zm8"}, Case{"ThreeBytesNoPad", "foo", "Zm9v"},
                      Case{"PlusBecomesDash", std::string("\xfb\xef", 2), "--8"},
                      Case{"SlashBecomesUnderscore", std::string("\xff\xff", 2), "__8"},
                      Case{"ZeroBytes", std::string(16, '\0'), "AAAAAAAAAAAAAAAAAAAAAA"}),
    [](const auto& testCase) { return std::string(testCase.param.name); });

TEST(Base64Url, NeverHasPaddingOrStandardOnlyCharacters) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const std::string text = base64UrlEncode(std::string_view(bytes).substr(0, length));
    EXPECT_EQ(text.find_first_of("+/="), std::string::npos) << length;
    EXPECT_EQ(text.size(), (length * 4 + 2) / 3) << length;
  }
}

}  // namespace
}  // namespace pellum
