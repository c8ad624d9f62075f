#include "account/web_base.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

struct Case {
  const char* name;
  std::optional<std::string> environment;
  std::optional<std::string> build;
  std::string expected;
};

class WebBaseTest : public ::testing::TestWithParam<Case> {};

TEST_P(WebBaseTest, Resolves) {
  EXPECT_EQ(resolveWebBase(GetParam().environment, GetParam().build), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WebBaseTest,
    ::testing::Values(
        Case{"NeitherSetIsLoopbackPort3000OverHttp", std::nullopt, std::nullopt, "http://127.0.0.1:3000"},
        Case{"BuildPlaceholderIsLoopbackPort3000OverHttp", std::nullopt, "$(PELLUM_WEB_URL)",
             "http://127.0.0.1:3000"},
        Case{"EmptyEnvironmentIsSkippedForTheBuildValue", "", "https://build.example",
             "https://build.example"},
        Case{"EnvironmentWins", "https://env.example", "https://build.example", "https://env.example"},
        Case{"EnvironmentPlaceholderIsSkipped", "$(X)", "https://build.example", "https://build.example"},
        Case{"EmptyBuildValueIsAbsent", std::nullopt, "", "http://127.0.0.1:3000"}),
    [](const auto& testCase) { return std::string(testCase.param.name); });

TEST(UrlScheme, BuildValueOrPellum) {
  EXPECT_EQ(resolveUrlScheme("pellum-dev"), "pellum-dev");
  EXPECT_EQ(resolveUrlScheme(""), "pellum");
}

}  // namespace
}  // namespace pellum
