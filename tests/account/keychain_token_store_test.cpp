#include "account/keychain_token_store.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <QProcess>
#include <future>
#include <thread>

#include "support/gnome_keyring.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;

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

// The process that owns the Secret Service name on the test's bus.
pid_t secretServicePid() {
  QProcess tool;
  tool.start(QStringLiteral("dbus-send"),
             {QStringLiteral("--session"), QStringLiteral("--print-reply"),
              QStringLiteral("--dest=org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
              QStringLiteral("org.freedesktop.DBus.GetConnectionUnixProcessID"),
              QStringLiteral("string:org.freedesktop.secrets")});
  if (!tool.waitForFinished(20000)) return -1;
  const QByteArray reply = tool.readAllStandardOutput();  // "method return ...\n   uint32 1234\n"
  const qsizetype at = reply.indexOf("uint32 ");
  return at < 0 ? -1 : reply.mid(at + 7).trimmed().toInt();
}

// A keyring daemon frozen for the object's life: it keeps its bus name and
// receives every call, but answers none, as when it waits on an unlock
// prompt nobody sees.
class FrozenProcess {
 public:
  explicit FrozenProcess(pid_t pid) : pid_(pid) { ::kill(pid_, SIGSTOP); }
  ~FrozenProcess() { ::kill(pid_, SIGCONT); }
  FrozenProcess(const FrozenProcess&) = delete;
  FrozenProcess& operator=(const FrozenProcess&) = delete;

 private:
  pid_t pid_;
};

struct UnansweredCalls {
  std::optional<std::string> loaded;
  std::optional<KeychainError> saved;
  std::string log;
};

TEST_F(KeychainTokenStoreTest, UnansweringKeyringGivesUpAtTheDeadline) {
  ASSERT_EQ(store.saveToken("kept"), std::nullopt);
  const pid_t daemon = secretServicePid();
  ASSERT_GT(daemon, 0);
  KeychainTokenStore impatient{"app.pellum.test", 300ms};
  // Declared before the frozen daemon, so that it is thawed (and any call
  // still waiting gets its answer) before this future's end waits for it.
  std::future<UnansweredCalls> calls;
  {
    FrozenProcess frozen(daemon);
    calls = std::async(std::launch::async, [&impatient] {
      UnansweredCalls result;
      ::testing::internal::CaptureStderr();
      result.loaded = impatient.loadToken();
      result.saved = impatient.saveToken("new");
      impatient.deleteToken();
      result.log = ::testing::internal::GetCapturedStderr();
      return result;
    });
    // Generous: the three calls give up after 300 ms each.
    ASSERT_EQ(calls.wait_for(20s), std::future_status::ready)
        << "a keychain call waited on the frozen keyring";
  }
  const UnansweredCalls result = calls.get();
  EXPECT_EQ(result.loaded, std::nullopt);
  ASSERT_TRUE(result.saved);
  EXPECT_EQ(result.saved->description(), "The operation couldn't be completed. (KeychainError status " +
                                             std::to_string(result.saved->status) +
                                             ": the keyring did not answer within 300 ms)");
  EXPECT_NE(result.log.find("KeychainTokenStore: the keyring did not answer within 300 ms\n"),
            std::string::npos)
      << result.log;

  // Thawed, the keyring works again for the next calls.
  EXPECT_EQ(store.saveToken("after"), std::nullopt);
  EXPECT_EQ(store.loadToken(), "after");
}

}  // namespace
}  // namespace pellum
