// AuthService's own rules with fakes behind every seam: the browser, the
// alerts and the token store. Nothing here reaches the network: an accepted
// callback's exchange goes to a port where nothing listens.
#include "account/auth_service.h"

#include <gtest/gtest.h>

#include "account/account_fakes.h"
#include "account/pairing_browser.h"
#include "base/crypto.h"
#include "support/event_loop.h"

namespace pellum {
namespace {

using test::waitUntil;

class AuthServiceTest : public ::testing::Test {
 protected:
  std::unique_ptr<AuthService> make(std::optional<std::string> storedToken = std::nullopt) {
    store = std::make_shared<test::MemoryTokenStore>(std::move(storedToken));
    AuthService::Parts parts{// Port 9 (discard) has no listener here: exchanges fail fast.
                             "http://127.0.0.1:9",
                             "pellum",
                             store,
                             alerts,
                             browser,
                             randomBytes,
                             [] { return std::string("desk"); },
                             [] { return std::optional<std::string>("fp"); }};
    auto service = std::make_unique<AuthService>(std::move(parts));
    service->onSignInChange = [this, raw = service.get()] { changes.push_back(raw->cachedToken()); };
    return service;
  }

  std::string stateOfPage(std::size_t index) const {
    return test::queryItems(browser->urls.at(index))["state"];
  }

  // Lets queued alerts and listener calls run.
  static void settle() { test::spin(std::chrono::milliseconds(50)); }

  std::shared_ptr<test::MemoryTokenStore> store;
  std::shared_ptr<test::RecordingAlertPresenter> alerts = std::make_shared<test::RecordingAlertPresenter>();
  std::shared_ptr<test::RecordingBrowserOpener> browser = std::make_shared<test::RecordingBrowserOpener>();
  std::vector<std::optional<std::string>> changes;  // cachedToken as each listener call saw it
};

TEST_F(AuthServiceTest, StartUpLoadsTheStoredToken) {
  EXPECT_EQ(make("tok")->cachedToken(), "tok");
  EXPECT_EQ(make()->cachedToken(), std::nullopt);
  EXPECT_EQ(make("")->cachedToken(), "");  // an empty item is still a token
}

TEST_F(AuthServiceTest, SignInOpensThePairingPageWithChallengeStateAndDevice) {
  auto service = make();
  service->signIn();
  ASSERT_EQ(browser->urls.size(), 1u);
  const std::string& url = browser->urls[0];
  EXPECT_TRUE(url.starts_with("http://127.0.0.1:9/devices/pair?code_challenge=")) << url;
  auto items = test::queryItems(url);
  EXPECT_EQ(items["code_challenge"].size(), 43u);
  EXPECT_EQ(items["state"].size(), 22u);
  EXPECT_EQ(items["device_name"], "desk");
  EXPECT_EQ(items["platform"], "linux");
  EXPECT_EQ(items["url_scheme"], "pellum");
  EXPECT_EQ(service->pendingState(), items["state"]);
}

TEST_F(AuthServiceTest, EachSignInDrawsFreshSecrets) {
  auto service = make();
  service->signIn();
  service->signIn();
  const auto first = test::queryItems(browser->urls.at(0)), second = test::queryItems(browser->urls.at(1));
  EXPECT_NE(first.at("state"), second.at("state"));
  EXPECT_NE(first.at("code_challenge"), second.at("code_challenge"));
}

TEST_F(AuthServiceTest, TwoSignInsInARowAcceptOnlyTheSecondState) {
  auto service = make();
  service->signIn();
  service->signIn();
  service->handleCallback("pellum://paired?code=C1&state=" + stateOfPage(0));
  settle();
  EXPECT_EQ(alerts->alerts, std::vector<std::string>{"State mismatch. Aborted pairing."});
  EXPECT_EQ(service->pendingState(), stateOfPage(1));  // the right callback can still come

  service->handleCallback("pellum://paired?code=C2&state=" + stateOfPage(1));
  EXPECT_EQ(service->pendingState(), std::nullopt);
  EXPECT_TRUE(service->isExchanging());
}

TEST_F(AuthServiceTest, CallbackWithStateButNoCodeDoesNothingAndKeepsThePendingPair) {
  auto service = make();
  service->signIn();
  service->handleCallback("pellum://paired?state=" + stateOfPage(0));
  settle();
  EXPECT_TRUE(alerts->alerts.empty());
  EXPECT_EQ(service->pendingState(), stateOfPage(0));
  EXPECT_FALSE(service->isExchanging());
}

TEST_F(AuthServiceTest, CallbackWhoseHostDiffersOnlyInCaseIsIgnored) {
  auto service = make();
  service->signIn();
  service->handleCallback("pellum://Paired?code=C&state=" + stateOfPage(0));
  settle();
  EXPECT_TRUE(alerts->alerts.empty());
  EXPECT_EQ(service->pendingState(), stateOfPage(0));
  EXPECT_FALSE(service->isExchanging());
}

TEST_F(AuthServiceTest, CallbackOfAnotherSchemeIsIgnored) {
  auto service = make();
  service->signIn();
  service->handleCallback("other://paired?code=C&state=" + stateOfPage(0));
  settle();
  EXPECT_TRUE(alerts->alerts.empty());
  EXPECT_EQ(service->pendingState(), stateOfPage(0));
}

TEST_F(AuthServiceTest, CallbackWithNoSignInPendingAlertsNoPairingInProgress) {
  auto service = make();
  service->handleCallback("pellum://paired?code=C&state=S");
  EXPECT_TRUE(alerts->alerts.empty());  // shown later, on the main queue
  settle();
  EXPECT_EQ(alerts->alerts, std::vector<std::string>{"No pairing in progress."});
}

TEST_F(AuthServiceTest, BrowserThatCannotOpenAlertsSignInFailedAndKeepsThePendingPair) {
  browser->failure = BrowserError{"no browser"};
  auto service = make();
  service->signIn();
  settle();
  EXPECT_EQ(alerts->alerts, std::vector<std::string>{"Sign-in failed: no browser"});
  EXPECT_EQ(service->pendingState(), stateOfPage(0));
}

TEST_F(AuthServiceTest, ACallbackTheBrowserCaughtItselfIsHandledAsOneFromTheUrlScheme) {
  auto service = make();
  service->signIn();
  ASSERT_TRUE(browser->onCallback);
  browser->onCallback("pellum://paired?code=C&state=" + stateOfPage(0));
  EXPECT_EQ(service->pendingState(), std::nullopt);
  EXPECT_TRUE(service->isExchanging());
}

TEST_F(AuthServiceTest, APageThatFailsAfterOpeningAlertsSignInFailedAndKeepsThePendingPair) {
  auto service = make();
  service->signIn();
  ASSERT_TRUE(browser->onFailure);
  browser->onFailure(BrowserError{"The network connection was lost."});
  settle();
  EXPECT_EQ(alerts->alerts, std::vector<std::string>{"Sign-in failed: The network connection was lost."});
  EXPECT_EQ(service->pendingState(), stateOfPage(0));
}

TEST_F(AuthServiceTest, AfterSignOutTheTokenIsGoneAtOnceBeforeListenersRun) {
  auto service = make("tok");
  service->signOut();
  EXPECT_EQ(service->cachedToken(), std::nullopt);
  EXPECT_TRUE(changes.empty());
  EXPECT_EQ(store->deletes(), 1);
  settle();
  EXPECT_EQ(changes, (std::vector<std::optional<std::string>>{std::nullopt}));
  EXPECT_EQ(store->loadToken(), std::nullopt);
}

TEST_F(AuthServiceTest, SignInWithTokenStoresItAndSignsIn) {
  auto service = make();
  EXPECT_EQ(service->signInWithToken("given"), std::nullopt);
  EXPECT_EQ(service->cachedToken(), "given");
  EXPECT_EQ(store->loadToken(), "given");
  EXPECT_EQ(changes, (std::vector<std::optional<std::string>>{"given"}));
}

TEST_F(AuthServiceTest, SignInWithTokenTheKeychainRefusesChangesNothing) {
  auto service = make("old");
  store->refuseSaves(KeychainError{5, "No keychain service available"});
  const auto error = service->signInWithToken("given");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description(),
            "Could not save token: The operation couldn't be completed. (KeychainError status 5: No keychain "
            "service "
            "available)");
  EXPECT_EQ(service->cachedToken(), "old");
  EXPECT_TRUE(changes.empty());
}

TEST_F(AuthServiceTest, ExchangeToAServerThatIsNotThereAlertsPairingFailed) {
  auto service = make();
  service->signIn();
  service->handleCallback("pellum://paired?code=C&state=" + stateOfPage(0));
  ASSERT_TRUE(waitUntil([&] { return !alerts->alerts.empty(); }));
  EXPECT_EQ(alerts->alerts, std::vector<std::string>{"Pairing failed: Connection refused"});
  EXPECT_FALSE(service->isExchanging());
  EXPECT_EQ(service->cachedToken(), std::nullopt);
  EXPECT_EQ(store->saves(), 0);
}

}  // namespace
}  // namespace pellum
