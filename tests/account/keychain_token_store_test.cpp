#include "account/keychain_token_store.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <thread>

#include "support/gnome_keyring.h"

namespace pellum {
namespace {

using Attributes = QMap<QString, QString>;

test::GnomeKeyring& keyring() {
  static test::GnomeKeyring instance;
  return instance;
}

const Attributes kItem{{QStringLiteral("server"), QStringLiteral("app.pellum.test")},
                       {QStringLiteral("user"), QStringLiteral("device_token")}};

class KeychainTokenStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(keyring().isRunning());
    keyring().clear(kItem);
    keyring().clear({{QStringLiteral("server"), QStringLiteral("app.pellum.macos")}});
  }

  KeychainTokenStore store{"app.pellum.test"};
};

TEST_F(KeychainTokenStoreTest, NoStoredItemLoadsNothingAndDeleteDoesNothingVisible) {
  // Another application's item under the same account name must survive.
  ASSERT_EQ(
      QProcess::execute(QStringLiteral("sh"),
                        {QStringLiteral("-c"), QStringLiteral("printf other | secret-tool store --label=o "
                                                              "server other.app user device_token")}),
      0);
  EXPECT_EQ(store.loadToken(), std::nullopt);
  store.deleteToken();
  EXPECT_TRUE(keyring().search(kItem).isEmpty());
  EXPECT_EQ(keyring().search({{QStringLiteral("server"), QStringLiteral("other.app")}}).size(), 1);
  keyring().clear({{QStringLiteral("server"), QStringLiteral("other.app")}});
}

TEST_F(KeychainTokenStoreTest, SavedTokenIsOneItemNamedByServiceAndAccount) {
  EXPECT_EQ(store.saveToken("tok-1"), std::nullopt);
  const auto items = keyring().search(kItem);
  ASSERT_EQ(items.size(), 1);
  EXPECT_EQ(items[0].secret, QStringLiteral("tok-1"));
  EXPECT_EQ(store.loadToken(), "tok-1");
}

TEST_F(KeychainTokenStoreTest, TwoSavesInARowLeaveOneItemHoldingTheSecondToken) {
  EXPECT_EQ(store.saveToken("first"), std::nullopt);
  EXPECT_EQ(store.saveToken("second"), std::nullopt);
  const auto items = keyring().search(kItem);
  ASSERT_EQ(items.size(), 1);
  EXPECT_EQ(items[0].secret, QStringLiteral("second"));
  EXPECT_EQ(store.loadToken(), "second");
}

TEST_F(KeychainTokenStoreTest, DeleteRemovesTheItem) {
  ASSERT_EQ(store.saveToken("tok"), std::nullopt);
  store.deleteToken();
  EXPECT_TRUE(keyring().search(kItem).isEmpty());
  EXPECT_EQ(store.loadToken(), std::nullopt);
}

TEST_F(KeychainTokenStoreTest, BuildWithoutAnIdStoresUnderTheFallbackServiceAndAccount) {
  KeychainTokenStore unnamed{""};
  EXPECT_EQ(unnamed.service(), "app.pellum.macos");
  ASSERT_EQ(unnamed.saveToken("tok-fallback"), std::nullopt);
  const auto items = keyring().search({{QStringLiteral("server"), QStringLiteral("app.pellum.macos")},
                                       {QStringLiteral("user"), QStringLiteral("device_token")}});
  ASSERT_EQ(items.size(), 1);
  EXPECT_EQ(items[0].secret, QStringLiteral("tok-fallback"));
}

TEST_F(KeychainTokenStoreTest, TokenKeepsItsUtf8Bytes) {
  const std::string token = "t\xc3\xa9-\xe2\x82\xac";
  ASSERT_EQ(store.saveToken(token), std::nullopt);
  EXPECT_EQ(store.loadToken(), token);
}

TEST_F(KeychainTokenStoreTest, AnotherStoreOfTheSameServiceSeesTheToken) {
  ASSERT_EQ(store.saveToken("shared"), std::nullopt);
  KeychainTokenStore later{"app.pellum.test"};
  EXPECT_EQ(later.loadToken(), "shared");
}

TEST_F(KeychainTokenStoreTest, OperationsWorkFromAnyThread) {
  std::optional<KeychainError> saved = KeychainError{-1, "not run"};
  std::optional<std::string> loaded;
  std::thread worker([&] {
    saved = store.saveToken("from-worker");
    loaded = store.loadToken();
  });
  worker.join();
  EXPECT_EQ(saved, std::nullopt);
  EXPECT_EQ(loaded, "from-worker");
  EXPECT_EQ(store.loadToken(), "from-worker");
}

}  // namespace
}  // namespace pellum
