#include "account/exchange_reply.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace pellum {
namespace {

struct Case {
  const char* name;
  int status;
  std::string body;
  std::variant<std::string, SignInError> expected;
};

class ExchangeReplyTest : public ::testing::TestWithParam<Case> {};

TEST_P(ExchangeReplyTest, Reads) {
  EXPECT_EQ(readExchangeReply(GetParam().status, GetParam().body), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ExchangeReplyTest,
    ::testing::Values(
        Case{"TokenOn200", 200, R"({"token":"tok"})", std::string("tok")},
        Case{"ExtraMembersAreFine", 200, R"({"device":1,"token":"tok"})", std::string("tok")},
        Case{"EmptyTokenIsAToken", 200, R"({"token":""})", std::string("")},
        Case{"Status201WithValidTokenIsRejection", 201, R"({"token":"tok"})", SignInError::codeRejected()},
        Case{"Status400IsRejection", 400, R"({"error":"unknown pairing code"})", SignInError::codeRejected()},
        Case{"Status500IsRejection", 500, "", SignInError::codeRejected()},
        Case{"EmptyBodyIsRejection", 200, "", SignInError::codeRejected()},
        Case{"NumberTokenIsMalformed", 200, R"({"token":42})", SignInError::malformedResponse()},
        Case{"MissingTokenIsMalformed", 200, R"({"tok":"x"})", SignInError::malformedResponse()},
        Case{"ArrayIsMalformed", 200, R"(["tok"])", SignInError::malformedResponse()},
        Case{"NotJsonIsMalformed", 200, "tok", SignInError::malformedResponse()}),
    [](const auto& testCase) { return std::string(testCase.param.name); });

TEST(ExchangeRequestBody, HoldsCodeVerifierAndFingerprint) {
  const auto body = exchangeRequestBody("C", "V", "F");
  ASSERT_TRUE(body);
  EXPECT_EQ(nlohmann::json::parse(*body),
            (nlohmann::json{{"code", "C"}, {"code_verifier", "V"}, {"fingerprint", "F"}}));
}

TEST(ExchangeRequestBody, NoFingerprintMemberWithoutOne) {
  const auto body = exchangeRequestBody("C", "V", std::nullopt);
  ASSERT_TRUE(body);
  EXPECT_EQ(nlohmann::json::parse(*body), (nlohmann::json{{"code", "C"}, {"code_verifier", "V"}}));
}

TEST(ExchangeRequestBody, CodeThatIsNotUtf8HasNoBody) {
  EXPECT_EQ(exchangeRequestBody("\xff", "V", std::nullopt), std::nullopt);
}

}  // namespace
}  // namespace pellum
