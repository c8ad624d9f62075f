#include "exchange_request.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

TEST(ServerExchangeRequestTest, ReadsCodeVerifierAndFingerprint) {
  auto parsed = parseExchangeRequest(R"({"code_verifier":"v","code":"c","fingerprint":"f"})");
  ASSERT_TRUE(std::holds_alternative<ExchangeRequest>(parsed));
  const auto& request = std::get<ExchangeRequest>(parsed);
  EXPECT_EQ(request.code, "c");
  EXPECT_EQ(request.codeVerifier, "v");
  EXPECT_EQ(request.fingerprint, "f");
}

TEST(ServerExchangeRequestTest, FingerprintIsOptional) {
  auto parsed = parseExchangeRequest(R"({"code":"c","code_verifier":"v"})");
  ASSERT_TRUE(std::holds_alternative<ExchangeRequest>(parsed));
  EXPECT_EQ(std::get<ExchangeRequest>(parsed).fingerprint, "");
}

TEST(ServerExchangeRequestTest, RefusesMalformedBodies) {
  struct Case {
    const char* body;
    const char* error;
  };
  for (const auto& [body, error] : std::vector<Case>{
           {"", "body is not a JSON object"},
           {"code=c", "body is not a JSON object"},
           {"[1]", "body is not a JSON object"},
           {R"({"code_verifier":"v"})", "code is missing"},
           {R"({"code":"","code_verifier":"v"})", "code is missing"},
           {R"({"code":5,"code_verifier":"v"})", "code is missing"},
           {R"({"code":"c"})", "code_verifier is missing"},
           {R"({"code":"c","code_verifier":"v","fingerprint":1})", "fingerprint must be a string"}}) {
    auto parsed = parseExchangeRequest(body);
    ASSERT_TRUE(std::holds_alternative<ExchangeRequestError>(parsed)) << body;
    EXPECT_EQ(std::get<ExchangeRequestError>(parsed).description, error);
  }
}

TEST(ServerExchangeRequestTest, ReplyBodies) {
  EXPECT_EQ(exchangeTokenJson("t0k"), R"({"token":"t0k"})");
  EXPECT_EQ(exchangeErrorJson("pairing code expired"), R"({"error":"pairing code expired"})");
}

}  // namespace
}  // namespace pellum::server
