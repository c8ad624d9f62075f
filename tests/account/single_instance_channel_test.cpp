#include "account/single_instance_channel.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <QFile>
#include <QLocalSocket>
#include <QTemporaryDir>

#include "pellum/build_config.h"
#include "support/event_loop.h"

namespace pellum {
namespace {

using test::waitUntil;

class SingleInstanceChannelTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(runtime.isValid()); }

  QString path() const { return runtime.filePath(QStringLiteral("app.pellum.test.instance")); }

  QTemporaryDir runtime;
};

TEST_F(SingleInstanceChannelTest, LaterStartHandsItsArgumentsToTheRunningInstance) {
  SingleInstanceChannel running(path());
  std::vector<QStringList> received;
  running.onArguments = [&](const QStringList& arguments) { received.push_back(arguments); };
  ASSERT_TRUE(running.listen());

  SingleInstanceChannel later(path());
  const QStringList arguments{QStringLiteral("pellum://paired?code=C&state=S"),
                              QStringLiteral("caf\u00e9 \"x\"")};
  EXPECT_TRUE(later.sendToRunningInstance(arguments));
  ASSERT_TRUE(waitUntil([&] { return !received.empty(); }));
  EXPECT_EQ(received, std::vector<QStringList>{arguments});
}

TEST_F(SingleInstanceChannelTest, WithNoInstanceRunningNobodyTakesTheArguments) {
  SingleInstanceChannel later(path());
  EXPECT_FALSE(later.isAnotherInstanceRunning());
  EXPECT_FALSE(later.sendToRunningInstance({QStringLiteral("x")}));
}

TEST_F(SingleInstanceChannelTest, SecondInstanceCannotListenWhileOneRuns) {
  SingleInstanceChannel running(path());
  ASSERT_TRUE(running.listen());
  SingleInstanceChannel second(path());
  EXPECT_TRUE(second.isAnotherInstanceRunning());
  EXPECT_FALSE(second.listen());
  // The running one still has the name.
  std::vector<QStringList> received;
  running.onArguments = [&](const QStringList& arguments) { received.push_back(arguments); };
  EXPECT_TRUE(second.sendToRunningInstance({QStringLiteral("still me")}));
  EXPECT_TRUE(waitUntil([&] { return !received.empty(); }));
}

TEST_F(SingleInstanceChannelTest, FileLeftByACrashedInstanceIsReplaced) {
  QFile stale(path());
  ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
  stale.close();
  SingleInstanceChannel next(path());
  EXPECT_TRUE(next.listen());
  EXPECT_TRUE(SingleInstanceChannel(path()).isAnotherInstanceRunning());
}

TEST_F(SingleInstanceChannelTest, SocketIsTheUsersOnly) {
  SingleInstanceChannel running(path());
  ASSERT_TRUE(running.listen());
  const auto permissions = QFile::permissions(path());
  EXPECT_FALSE(permissions & (QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ReadOther |
                              QFileDevice::WriteOther));
}

// A peer no Pellum would be: it writes something that is not a JSON array.
TEST_F(SingleInstanceChannelTest, ScriptedPeerGarbageIsIgnored) {
  SingleInstanceChannel running(path());
  int calls = 0;
  running.onArguments = [&](const QStringList&) { ++calls; };
  ASSERT_TRUE(running.listen());
  QLocalSocket peer;
  peer.connectToServer(path());
  ASSERT_TRUE(peer.waitForConnected());
  peer.write("{\"not\":\"a list\"}");
  peer.waitForBytesWritten();
  peer.disconnectFromServer();
  // Then a real one, which must arrive alone.
  ASSERT_TRUE(SingleInstanceChannel(path()).sendToRunningInstance({QStringLiteral("real")}));
  ASSERT_TRUE(waitUntil([&] { return calls > 0; }));
  test::spin(std::chrono::milliseconds(50));
  EXPECT_EQ(calls, 1);
}

TEST(SingleInstanceChannelPath, LivesInTheRuntimeDirectory) {
  QTemporaryDir runtime;
  const QByteArray saved = qgetenv("XDG_RUNTIME_DIR");
  ::chmod(runtime.path().toLocal8Bit().constData(), 0700);
  qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
  EXPECT_EQ(SingleInstanceChannel::defaultSocketPath(),
            runtime.filePath(QString::fromUtf8(build_config::appId.data()) + QStringLiteral(".instance")));
  qputenv("XDG_RUNTIME_DIR", saved);
}

}  // namespace
}  // namespace pellum
