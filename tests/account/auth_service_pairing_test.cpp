// Pairing with the real parts: a real pellum-server on loopback as the web
// service (its pairing page approved over HTTP as a browser would), and the
// token store on a real gnome-keyring. Only the browser and the alerts are
// stand-ins.
#include "account/auth_service.h"

#include <gtest/gtest.h>

#include "account/account_fakes.h"
#include "account/keychain_token_store.h"
#include "account/pairing_browser.h"
#include "base/crypto.h"
#include "route_client.h"
#include "server_process.h"
#include "support/event_loop.h"
#include "support/gnome_keyring.h"
#include "transcription/multipart_body.h"

namespace pellum {
namespace {

using test::waitUntil;

test::GnomeKeyring& keyring() {
  static test::GnomeKeyring instance;
  return instance;
}

const QMap<QString, QString> kItem{{QStringLiteral("server"), QStringLiteral("app.pellum.pairing-test")},
                                   {QStringLiteral("user"), QStringLiteral("device_token")}};

class AuthServicePairingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(keyring().isRunning());
    ASSERT_TRUE(server.started()) << server.output();
    keyring().clear(kItem);
    service = std::make_unique<AuthService>(AuthService::Parts{
        "http://127.0.0.1:" + std::to_string(server.webPort()), "pellum",
        std::make_shared<KeychainTokenStore>("app.pellum.pairing-test"), alerts, browser, randomBytes,
        [] { return std::string("Ann's desk"); }, [] { return std::optional<std::string>("fp-1"); }});
    service->onSignInChange = [this] { ++changes; };
  }

  // The callback URL the server sends the browser to once the user approved
  // the page `signIn` opened last.
  std::string approveLastPage() { return test::approveInBrowser(server.webPort(), browser->urls.back()); }

  bool settled() {
    return waitUntil([&] { return !service->isExchanging(); }) &&
           (test::spin(std::chrono::milliseconds(50)), true);
  }

  QStringList keyringSecrets() const {
    QStringList secrets;
    for (const auto& item : keyring().search(kItem)) secrets << item.secret;
    return secrets;
  }

  server::test::ServerProcess server;
  std::shared_ptr<test::RecordingAlertPresenter> alerts = std::make_shared<test::RecordingAlertPresenter>();
  std::shared_ptr<test::RecordingBrowserOpener> browser = std::make_shared<test::RecordingBrowserOpener>();
  std::unique_ptr<AuthService> service;
  int changes = 0;
};

TEST_F(AuthServicePairingTest, ApprovedPairingLeavesAWorkingTokenOnlyInTheKeyring) {
  service->signIn();
  const std::string callback = approveLastPage();
  ASSERT_TRUE(callback.starts_with("pellum://paired?code=")) << callback;
  service->handleCallback(callback);
  ASSERT_TRUE(waitUntil([&] { return changes == 1; }));
  EXPECT_TRUE(alerts->alerts.empty());

  const auto token = service->cachedToken();
  ASSERT_TRUE(token);
  EXPECT_EQ(keyringSecrets(), QStringList{QString::fromStdString(*token)});
  const auto devices = server.listDevices();
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].rfind("1\tAnn's desk\tlinux\t", 0), 0u) << devices[0];

  // The transcription server takes it: the request gets past the token
  // check and fails only on its junk audio.
  const auto upload = server::test::httpRequest(
      server.transcribePort(), "POST", "/transcribe",
      {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + *token}},
      buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav", "junk"));
  EXPECT_EQ(upload.status, 415);
}

TEST_F(AuthServicePairingTest, TwoSignInsInARowOnlyTheSecondStateIsAccepted) {
  service->signIn();
  const std::string first = approveLastPage();
  service->signIn();
  const std::string second = approveLastPage();
  ASSERT_FALSE(first.empty());
  ASSERT_FALSE(second.empty());

  service->handleCallback(first);
  ASSERT_TRUE(settled());
  EXPECT_EQ(alerts->alerts, std::vector<std::string>{"State mismatch. Aborted pairing."});
  EXPECT_TRUE(server.listDevices().empty());

  service->handleCallback(second);
  ASSERT_TRUE(waitUntil([&] { return changes == 1; }));
  EXPECT_EQ(alerts->alerts.size(), 1u);
  EXPECT_EQ(server.listDevices().size(), 1u);
}

TEST_F(AuthServicePairingTest, ForgedStateIsRefusedAndNothingIsExchanged) {
  service->signIn();
  std::string callback = approveLastPage();
  const auto state = callback.find("state=");
  ASSERT_NE(state, std::string::npos);
  callback = callback.substr(0, state) + "state=forged";
  service->handleCallback(callback);
  ASSERT_TRUE(settled());
  EXPECT_EQ(alerts->alerts, std::vector<std::string>{"State mismatch. Aborted pairing."});
  EXPECT_EQ(service->cachedToken(), std::nullopt);
  EXPECT_TRUE(keyringSecrets().isEmpty());
  EXPECT_TRUE(server.listDevices().empty());
}

TEST_F(AuthServicePairingTest, ReplayedCodeIsRejectedByTheServerAndKeepsTheFirstToken) {
  service->signIn();
  const std::string callback = approveLastPage();
  service->handleCallback(callback);
  ASSERT_TRUE(waitUntil([&] { return changes == 1; }));
  const auto firstToken = service->cachedToken();

  // Someone who saw the callback replays its code into a later sign-in
  // (knowing that sign-in's state too): the server has spent the code.
  service->signIn();
  const std::string code = test::queryItems(callback).at("code");
  service->handleCallback("pellum://paired?code=" + code + "&state=" + *service->pendingState());
  ASSERT_TRUE(settled());
  EXPECT_EQ(alerts->alerts, std::vector<std::string>{"Pairing failed: server rejected the code."});
  EXPECT_EQ(service->cachedToken(), firstToken);
  EXPECT_EQ(keyringSecrets(), QStringList{QString::fromStdString(*firstToken)});
}

TEST_F(AuthServicePairingTest, SignOutRemovesTheTokenFromTheKeyring) {
  ASSERT_EQ(service->signInWithToken(server.addDevice("Desk")), std::nullopt);
  EXPECT_EQ(keyringSecrets().size(), 1);
  service->signOut();
  EXPECT_EQ(service->cachedToken(), std::nullopt);
  EXPECT_TRUE(keyringSecrets().isEmpty());
}

TEST_F(AuthServicePairingTest, ANewServiceStartsSignedInFromTheKeyring) {
  ASSERT_EQ(service->signInWithToken("tok-kept"), std::nullopt);
  AuthService later(AuthService::Parts{
      "http://127.0.0.1:9", "pellum", std::make_shared<KeychainTokenStore>("app.pellum.pairing-test"), alerts,
      browser, randomBytes, [] { return std::string("d"); }, [] { return std::nullopt; }});
  EXPECT_EQ(later.cachedToken(), "tok-kept");
}

}  // namespace
}  // namespace pellum
