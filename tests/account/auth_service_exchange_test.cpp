// The exchange request as AuthService sends it, and the replies a real
// server would never give (a 201, a number for a token, an empty 200),
// played by a scripted HTTP peer on loopback.
#include "account/auth_service.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "account/account_fakes.h"
#include "account/pairing_browser.h"
#include "account/pkce.h"
#include "base/crypto.h"
#include "support/event_loop.h"
#include "support/scripted_http_peer.h"

namespace pellum {
namespace {

using test::ScriptedHttpPeer;
using test::waitUntil;

QByteArray reply(int status, const QByteArray& body) {
  return "HTTP/1.1 " + QByteArray::number(status) +
         " Scripted\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size()) +
         "\r\nConnection: close\r\n\r\n" + body;
}

class AuthServiceExchangeTest : public ::testing::Test {
 protected:
  void SetUp() override { make(std::nullopt); }

  void make(std::optional<std::string> storedToken) {
    store = std::make_shared<test::MemoryTokenStore>(std::move(storedToken));
    service = std::make_unique<AuthService>(AuthService::Parts{
        peer.httpBase().toStdString(), "pellum", store, alerts, browser, randomBytes,
        [] { return std::string("desk"); }, [] { return std::optional<std::string>("fp-1"); }});
    service->onSignInChange = [this] {
      ++changes;
      changedOnMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
    };
  }

  // Signs in and delivers the right callback; the exchange then reaches
  // the peer, which answers `answer`.
  void exchangeAnswered(const QByteArray& answer) {
    peer.setReply({{answer, 0, true}});
    service->signIn();
    const auto page = test::queryItems(browser->urls.back());
    challenge = page.at("code_challenge");
    service->handleCallback("pellum://paired?code=C1&state=" + page.at("state"));
    ASSERT_TRUE(waitUntil([&] { return !service->isExchanging(); }));
  }

  ScriptedHttpPeer peer;
  std::shared_ptr<test::MemoryTokenStore> store;
  std::shared_ptr<test::RecordingAlertPresenter> alerts = std::make_shared<test::RecordingAlertPresenter>();
  std::shared_ptr<test::RecordingBrowserOpener> browser = std::make_shared<test::RecordingBrowserOpener>();
  std::unique_ptr<AuthService> service;
  std::string challenge;
  int changes = 0;
  bool changedOnMainThread = false;
};

TEST_F(AuthServiceExchangeTest, RequestCarriesCodeVerifierAndFingerprintAsJson) {
  exchangeAnswered(reply(200, R"({"token":"tok-1"})"));
  ASSERT_TRUE(peer.requestComplete());
  EXPECT_EQ(peer.method(), "POST");
  EXPECT_EQ(peer.path(), "/api/devices/exchange");
  EXPECT_EQ(peer.header("Content-Type"), "application/json");
  const auto body = nlohmann::json::parse(peer.body().toStdString());
  EXPECT_EQ(body.at("code"), "C1");
  EXPECT_EQ(body.at("fingerprint"), "fp-1");
  // The verifier is the one whose challenge the browser carried.
  EXPECT_EQ(codeChallenge(body.at("code_verifier").get<std::string>()), challenge);
  EXPECT_EQ(body.size(), 3u);
}

TEST_F(AuthServiceExchangeTest, TokenOf200IsStoredThenPublishedOnTheMainThread) {
  exchangeAnswered(reply(200, R"({"token":"tok-1"})"));
  ASSERT_TRUE(waitUntil([&] { return changes == 1; }));
  EXPECT_TRUE(changedOnMainThread);
  EXPECT_EQ(service->cachedToken(), "tok-1");
  EXPECT_EQ(store->loadToken(), "tok-1");
  EXPECT_TRUE(alerts->alerts.empty());
}

TEST_F(AuthServiceExchangeTest, SigningInWhileSignedInReplacesTheToken) {
  make("old");
  exchangeAnswered(reply(200, R"({"token":"new"})"));
  ASSERT_TRUE(waitUntil([&] { return changes == 1; }));
  EXPECT_EQ(service->cachedToken(), "new");
  EXPECT_EQ(store->loadToken(), "new");
}

struct Refusal {
  const char* name;
  QByteArray answer;
  std::string alert;
};

class AuthServiceRefusalTest : public AuthServiceExchangeTest,
                               public ::testing::WithParamInterface<Refusal> {};

TEST_P(AuthServiceRefusalTest, AlertsAndKeepsTheOldToken) {
  make("old");
  exchangeAnswered(GetParam().answer);
  test::spin(std::chrono::milliseconds(50));
  EXPECT_EQ(alerts->alerts, std::vector<std::string>{GetParam().alert});
  EXPECT_EQ(service->cachedToken(), "old");
  EXPECT_EQ(store->saves(), 0);
  EXPECT_EQ(changes, 0);
}

INSTANTIATE_TEST_SUITE_P(ScriptedPeer, AuthServiceRefusalTest,
                         ::testing::Values(Refusal{"Status201WithValidTokenCountsAsRejection",
                                                   reply(201, R"({"token":"tok"})"),
                                                   "Pairing failed: server rejected the code."},
                                           Refusal{"NumberTokenIsMalformed", reply(200, R"({"token":12345})"),
                                                   "Pairing failed: malformed response."},
                                           Refusal{"NotJsonIsMalformed", reply(200, "token=tok"),
                                                   "Pairing failed: malformed response."},
                                           Refusal{"Empty200IsRejection", reply(200, ""),
                                                   "Pairing failed: server rejected the code."},
                                           Refusal{"Status500IsRejection", reply(500, R"({"token":"tok"})"),
                                                   "Pairing failed: server rejected the code."}),
                         [](const auto& testCase) { return std::string(testCase.param.name); });

TEST_F(AuthServiceExchangeTest, KeychainThatRefusesTheTokenAlertsCouldNotSaveToken) {
  make("old");
  store->refuseSaves(KeychainError{5, "No keychain service available"});
  exchangeAnswered(reply(200, R"({"token":"tok-1"})"));
  test::spin(std::chrono::milliseconds(50));
  EXPECT_EQ(alerts->alerts,
            std::vector<std::string>{
                "Could not save token: The operation couldn't be completed. (KeychainError status "
                "5: No keychain service available)"});
  EXPECT_EQ(service->cachedToken(), "old");
  EXPECT_EQ(changes, 0);
}

}  // namespace
}  // namespace pellum
