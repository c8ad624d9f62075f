// Guessing against a real server on loopback: wrong bearer tokens on the
// transcription routes and wrong codes at the exchange are counted per
// address, and past ten in a minute the address gets 429 with Retry-After,
// whatever it sends, a right token included.
#include <gtest/gtest.h>

#include "route_client.h"
#include "server_process.h"

namespace pellum::server::test {
namespace {

HttpReply streamWith(unsigned short port, const std::string& token) {
  return httpRequest(port, "GET", "/transcribe/stream", {{"Authorization", "Bearer " + token}});
}

HttpReply exchangeCode(unsigned short port, const std::string& code) {
  return httpRequest(
      port, "POST", "/api/devices/exchange", {{"Content-Type", "application/json"}},
      R"({"code":")" + code + R"(","code_verifier":"dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"})");
}

TEST(GuessLimitRoutes, TenWrongTokensThenEvenTheRightOneWaits) {
  ServerProcess server;
  ASSERT_TRUE(server.started()) << server.output();
  const std::string token = server.addDevice("guess test");
  EXPECT_EQ(streamWith(server.transcribePort(), token).status, 426);  // known: wants the upgrade
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(streamWith(server.transcribePort(), "guess-" + std::to_string(i)).status, 401) << i;
  }
  const HttpReply refused = streamWith(server.transcribePort(), token);
  EXPECT_EQ(refused.status, 429);
  EXPECT_EQ(refused.headers.at("retry-after"), "60");
  EXPECT_NE(refused.body.find("too many failed attempts; try again in 60 s"), std::string::npos)
      << refused.body;
  const HttpReply upload =
      httpRequest(server.transcribePort(), "POST", "/transcribe", {{"Authorization", "Bearer " + token}}, "");
  EXPECT_EQ(upload.status, 429);
  // The web port's exchange counts the same address.
  EXPECT_EQ(exchangeCode(server.webPort(), "not-a-code").status, 429);
}

TEST(GuessLimitRoutes, TenUnknownCodesAtTheExchangeAreSlowedDown) {
  ServerProcess server;
  ASSERT_TRUE(server.started()) << server.output();
  for (int i = 0; i < 10; ++i) {
    const HttpReply reply = exchangeCode(server.webPort(), "guess-" + std::to_string(i));
    EXPECT_EQ(reply.status, 400) << i;
  }
  const HttpReply refused = exchangeCode(server.webPort(), "guess-11");
  EXPECT_EQ(refused.status, 429);
  EXPECT_EQ(refused.headers.at("retry-after"), "60");
  EXPECT_EQ(refused.headers.at("content-type"), "application/json");
  EXPECT_NE(refused.body.find("too many failed attempts"), std::string::npos) << refused.body;
}

TEST(GuessLimitRoutes, NoTokenAtAllIsNoGuess) {
  ServerProcess server;
  ASSERT_TRUE(server.started()) << server.output();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(httpRequest(server.transcribePort(), "GET", "/transcribe/stream").status, 401) << i;
  }
}

TEST(GuessLimitRoutes, ZeroTurnsTheLimitOff) {
  ServerProcess server({"--guess-limit", "0"});
  ASSERT_TRUE(server.started()) << server.output();
  for (int i = 0; i < 30; ++i) EXPECT_EQ(streamWith(server.transcribePort(), "guess").status, 401) << i;
}

TEST(GuessLimitRoutes, BehindATrustedProxyEachForwardedClientIsCountedApart) {
  ServerProcess server({"--trusted-proxy", "127.0.0.1"});
  ASSERT_TRUE(server.started()) << server.output();
  const auto from = [&](const std::string& client, const std::string& token) {
    return httpRequest(server.transcribePort(), "GET", "/transcribe/stream",
                       {{"Authorization", "Bearer " + token}, {"X-Forwarded-For", "192.0.2.1, " + client}});
  };
  for (int i = 0; i < 10; ++i) EXPECT_EQ(from("203.0.113.7", "guess-" + std::to_string(i)).status, 401) << i;
  EXPECT_EQ(from("203.0.113.7", "guess-10").status, 429);
  // Another client behind the same proxy still gets its own answers; what
  // a client writes into the header itself (the first entry) counts for
  // nothing.
  EXPECT_EQ(from("203.0.113.8", "guess-11").status, 401);
}

TEST(GuessLimitRoutes, ForwardedForFromAnUntrustedPeerIsIgnored) {
  ServerProcess server;
  ASSERT_TRUE(server.started()) << server.output();
  for (int i = 0; i < 10; ++i) {
    httpRequest(server.transcribePort(), "GET", "/transcribe/stream",
                {{"Authorization", "Bearer guess"}, {"X-Forwarded-For", "203.0.113." + std::to_string(i)}});
  }
  EXPECT_EQ(streamWith(server.transcribePort(), "guess").status, 429);
}

}  // namespace
}  // namespace pellum::server::test
