#include "account/sign_in_error.h"

#include <gtest/gtest.h>

#include "account/keychain_error.h"

namespace pellum {
namespace {

struct Case {
  const char* name;
  SignInError error;
  std::string text;
};

class SignInErrorTest : public ::testing::TestWithParam<Case> {};

TEST_P(SignInErrorTest, AlertText) { EXPECT_EQ(GetParam().error.description(), GetParam().text); }

INSTANTIATE_TEST_SUITE_P(
    Cases, SignInErrorTest,
    ::testing::Values(
        Case{"BrowserFailed", SignInError::browserFailed("no browser"), "Sign-in failed: no browser"},
        Case{"NoPairingInProgress", SignInError::noPairingInProgress(), "No pairing in progress."},
        Case{"StateMismatch", SignInError::stateMismatch(), "State mismatch. Aborted pairing."},
        Case{"ExchangeFailed", SignInError::exchangeFailed("Connection refused"),
             "Pairing failed: Connection refused"},
        Case{"CodeRejected", SignInError::codeRejected(), "Pairing failed: server rejected the code."},
        Case{"MalformedResponse", SignInError::malformedResponse(), "Pairing failed: malformed response."},
        Case{"TokenNotSaved", SignInError::tokenNotSaved("locked"), "Could not save token: locked"}),
    [](const auto& testCase) { return std::string(testCase.param.name); });

TEST(KeychainError, DescriptionNamesTheStatus) {
  EXPECT_EQ((KeychainError{5, "No keychain service available"}).description(),
            "The operation couldn't be completed. (KeychainError status 5: No keychain service available)");
  EXPECT_EQ((KeychainError{7, ""}).description(),
            "The operation couldn't be completed. (KeychainError status 7)");
}

}  // namespace
}  // namespace pellum
