#include "account/pairing_callback.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

struct Case {
  const char* name;
  std::string url;
  std::optional<PairingCallback> expected;
};

class PairingCallbackTest : public ::testing::TestWithParam<Case> {};

TEST_P(PairingCallbackTest, Parses) {
  EXPECT_EQ(parsePairingCallback(GetParam().url, "pellum"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PairingCallbackTest,
    ::testing::Values(
        Case{"Plain", "pellum://paired?code=C1&state=S1", PairingCallback{"C1", "S1"}},
        Case{"StateFirst", "pellum://paired?state=S1&code=C1", PairingCallback{"C1", "S1"}},
        Case{"PercentDecoded", "pellum://paired?code=a%2Fb&state=st%2Fate", PairingCallback{"a/b", "st/ate"}},
        Case{"PlusStaysPlus", "pellum://paired?code=a+b&state=s", PairingCallback{"a+b", "s"}},
        Case{"FirstItemWins", "pellum://paired?code=one&code=two&state=s&state=t",
             PairingCallback{"one", "s"}},
        Case{"ItemWithoutValueIsSkipped", "pellum://paired?code&code=two&state=s",
             PairingCallback{"two", "s"}},
        Case{"EmptyValueCounts", "pellum://paired?code=&state=s", PairingCallback{"", "s"}},
        Case{"FragmentIsNotQuery", "pellum://paired?code=c&state=s#x", PairingCallback{"c", "s"}},
        Case{"StateWithoutCodeIsIgnored", "pellum://paired?state=S1", std::nullopt},
        Case{"CodeWithoutStateIsIgnored", "pellum://paired?code=C1", std::nullopt},
        Case{"NoQueryIsIgnored", "pellum://paired", std::nullopt},
        Case{"HostDifferingOnlyInCaseIsIgnored", "pellum://PAIRED?code=C1&state=S1", std::nullopt},
        Case{"OtherHostIsIgnored", "pellum://pair?code=C1&state=S1", std::nullopt},
        Case{"OtherSchemeIsIgnored", "https://paired?code=C1&state=S1", std::nullopt},
        Case{"SchemeDifferingOnlyInCaseIsIgnored", "Pellum://paired?code=C1&state=S1", std::nullopt},
        Case{"NoHostIsIgnored", "pellum:paired?code=C1&state=S1", std::nullopt},
        Case{"BrokenEscapeIsIgnored", "pellum://paired?code=%zz&state=s", std::nullopt},
        Case{"NotAUrlIsIgnored", "paired", std::nullopt}),
    [](const auto& testCase) { return std::string(testCase.param.name); });

TEST(CallbackState, AcceptedOnlyWhenPendingAndEqual) {
  EXPECT_EQ(checkCallbackState("s", "s", "v"), CallbackCheck::accepted);
  EXPECT_EQ(checkCallbackState("s", "t", "v"), CallbackCheck::stateMismatch);
  EXPECT_EQ(checkCallbackState("s", std::nullopt, std::nullopt), CallbackCheck::noPairingInProgress);
  EXPECT_EQ(checkCallbackState("s", "s", std::nullopt), CallbackCheck::noPairingInProgress);
  EXPECT_EQ(checkCallbackState("s", std::nullopt, "v"), CallbackCheck::noPairingInProgress);
}

}  // namespace
}  // namespace pellum
