#include "account/keychain_token_store.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

namespace pellum {
namespace {

// No session bus answers at this address, so no Secret Service either.
class KeychainUnavailableTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    static QTemporaryDir nowhere;
    qputenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + nowhere.filePath(QStringLiteral("no-bus"))).toUtf8());
  }
};

TEST_F(KeychainUnavailableTest, SaveReportsTheKeychainStatus) {
  KeychainTokenStore store{"app.pellum.test"};
  const auto error = store.saveToken("tok");
  ASSERT_TRUE(error);
  EXPECT_NE(error->status, 0);
  EXPECT_NE(error->description().find("KeychainError status " + std::to_string(error->status)),
            std::string::npos)
      << error->description();
}

TEST_F(KeychainUnavailableTest, LoadIsNothingAndDeleteIsSilent) {
  KeychainTokenStore store{"app.pellum.test"};
  EXPECT_EQ(store.loadToken(), std::nullopt);
  store.deleteToken();
}

}  // namespace
}  // namespace pellum
