// Our sway IPC client against a real headless sway.

#include "wayland/sway_ipc.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTemporaryDir>

#include "support/sway_session.h"

namespace pellum {
namespace {

TEST(SwayIpcTest, AsksSwayAndGetsItsAnswer) {
  test::SwaySession sway;
  ASSERT_TRUE(sway.isRunning()) << sway.failure().toStdString();
  SwayIpc ipc;
  ASSERT_TRUE(ipc.connectTo()) << ipc.error();
  const auto version = ipc.request(sway::getVersion, "");
  ASSERT_TRUE(version.has_value());
  EXPECT_NE(version->find("\"major\""), std::string::npos) << *version;
}

TEST(SwayIpcTest, SubscribedEventsArrive) {
  test::SwaySession sway;
  ASSERT_TRUE(sway.isRunning()) << sway.failure().toStdString();
  SwayIpc ipc;
  ASSERT_TRUE(ipc.connectTo());
  std::vector<sway::Message> events;
  ipc.onEvent = [&events](const sway::Message& message) { events.push_back(message); };
  const auto subscribed = ipc.request(sway::subscribe, R"(["workspace"])");
  ASSERT_TRUE(subscribed.has_value());
  EXPECT_NE(subscribed->find("true"), std::string::npos);
  sway.swaymsg({QStringLiteral("workspace"), QStringLiteral("2")});
  QDeadlineTimer deadline(5000);
  while (events.empty() && !deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  ASSERT_FALSE(events.empty());
  EXPECT_TRUE(events.front().isEvent());
}

TEST(SwayIpcTest, NoSocketIsAClearError) {
  SwayIpc ipc;
  EXPECT_FALSE(ipc.connectTo("/nonexistent/sway.sock"));
  EXPECT_NE(ipc.error().find("cannot reach sway"), std::string::npos) << ipc.error();
}

// A scripted peer that takes requests and never answers: the wait ends at
// the deadline and the connection is given up.
TEST(SwayIpcTest, ScriptedSilentPeerEndsTheConnectionAtTheDeadline) {
  QTemporaryDir dir;
  QLocalServer server;
  ASSERT_TRUE(server.listen(dir.path() + QStringLiteral("/silent.sock")));
  SwayIpc ipc(std::chrono::milliseconds(200));
  ASSERT_TRUE(ipc.connectTo(server.fullServerName().toStdString()));
  int lost = 0;
  ipc.onLost = [&lost] { ++lost; };
  std::optional<std::string> reply = std::string("unset");
  ipc.send(sway::getTree, "", [&reply](std::optional<std::string> payload) { reply = std::move(payload); });
  QDeadlineTimer deadline(5000);
  while (lost == 0 && !deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  EXPECT_EQ(lost, 1);
  EXPECT_FALSE(reply.has_value());
  EXPECT_FALSE(ipc.isConnected());
  EXPECT_NE(ipc.error().find("did not answer"), std::string::npos) << ipc.error();
}

}  // namespace
}  // namespace pellum
