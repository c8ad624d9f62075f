// The update check against feeds served on loopback by a scripted HTTP peer
// (we run no update server of our own): a newer, the same and an older
// release, a malformed feed, a server that is not there, one that never
// answers and one that answers too much.
#include "update/update_checker.h"

#include <gtest/gtest.h>

#include <QTcpServer>
#include <optional>

#include "support/event_loop.h"
#include "support/scripted_http_peer.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::ScriptedHttpPeer;
using test::waitUntil;

QByteArray feedFor(const QByteArray& version) {
  return R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
  <channel><title>Pellum</title>
    <item><title>Pellum )" +
         version + R"(</title><sparkle:version>)" + version +
         R"(</sparkle:version><link>https://pellum.example/releases/)" + version + R"(</link></item>
  </channel>
</rss>)";
}

QByteArray reply(int status, const QByteArray& body, const QByteArray& type = "application/rss+xml") {
  return "HTTP/1.1 " + QByteArray::number(status) + " X\r\nContent-Type: " + type +
         "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

class ScriptedFeed : public ::testing::Test {
 protected:
  UpdateCheckResult check(const QString& url, std::chrono::milliseconds deadline = UpdateChecker::kDeadline) {
    UpdateChecker checker(QUrl(url), "1.2.0", deadline);
    std::optional<UpdateCheckResult> result;
    int calls = 0;
    checker.check([&](UpdateCheckResult found) {
      ++calls;
      result = std::move(found);
    });
    EXPECT_TRUE(waitUntil([&] { return result.has_value(); }, deadline + 5s));
    test::spin(50ms);
    EXPECT_EQ(calls, 1);
    return result.value_or(UpdateCheckResult::failure("no answer"));
  }
  QString feedURL() const { return peer_.httpBase() + QStringLiteral("/appcast.xml"); }

  ScriptedHttpPeer peer_;
};

TEST_F(ScriptedFeed, NewerReleaseIsOffered) {
  peer_.setReply({{reply(200, feedFor("1.3")), 0, true}});
  const auto result = check(feedURL());
  ASSERT_EQ(result.kind, UpdateCheckResult::Kind::newerAvailable) << result.error;
  EXPECT_EQ(result.currentVersion, "1.2.0");
  EXPECT_EQ(result.latest.version, "1.3");
  EXPECT_EQ(result.latest.downloadPage, "https://pellum.example/releases/1.3");
  EXPECT_EQ(peer_.method(), "GET");
  EXPECT_EQ(peer_.path(), "/appcast.xml");
  EXPECT_EQ(peer_.header("User-Agent"), "Pellum/1.2.0");
}

TEST_F(ScriptedFeed, SameReleaseIsUpToDate) {
  peer_.setReply({{reply(200, feedFor("1.2")), 0, true}});
  const auto result = check(feedURL());
  EXPECT_EQ(result.kind, UpdateCheckResult::Kind::upToDate) << result.error;
  EXPECT_EQ(result.latest.version, "1.2");
}

TEST_F(ScriptedFeed, OlderReleaseIsUpToDate) {
  peer_.setReply({{reply(200, feedFor("1.1.9")), 0, true}});
  EXPECT_EQ(check(feedURL()).kind, UpdateCheckResult::Kind::upToDate);
}

TEST_F(ScriptedFeed, FeedSplitInPiecesIsReadWhole) {
  const QByteArray whole = reply(200, feedFor("2.0"));
  peer_.setReply({{whole.left(70), 0, false}, {whole.mid(70, 90), 30, false}, {whole.mid(160), 30, true}});
  EXPECT_EQ(check(feedURL()).kind, UpdateCheckResult::Kind::newerAvailable);
}

TEST_F(ScriptedFeed, MalformedFeedIsAClearError) {
  peer_.setReply({{reply(200, "<rss><channel><item><title>broken</channel></rss>"), 0, true}});
  const auto result = check(feedURL());
  ASSERT_EQ(result.kind, UpdateCheckResult::Kind::failed);
  EXPECT_TRUE(result.error.starts_with("the feed is not valid XML: ")) << result.error;
}

TEST_F(ScriptedFeed, HtmlPageIsNoFeed) {
  peer_.setReply({{reply(200, "<html><body>Welcome</body></html>", "text/html"), 0, true}});
  EXPECT_EQ(check(feedURL()).error, "the feed is not an RSS appcast");
}

TEST_F(ScriptedFeed, MissingFeedSaysTheStatus) {
  peer_.setReply({{reply(404, "not here", "text/plain"), 0, true}});
  EXPECT_EQ(check(feedURL()).error, "the update server answered HTTP 404");
}

TEST_F(ScriptedFeed, ServerThatNeverAnswersFailsAtTheDeadline) {
  peer_.setReply({});
  const auto result = check(feedURL(), 300ms);
  EXPECT_EQ(result.error, "the update server did not answer within 300 ms");
}

TEST_F(ScriptedFeed, OversizedFeedIsCutOff) {
  const QByteArray huge(UpdateChecker::kMaxFeedBytes + 4096, 'x');
  peer_.setReply({{reply(200, huge), 0, true}});
  EXPECT_EQ(check(feedURL()).error, "the update feed is larger than a feed can be (over 1 MiB)");
}

TEST(UnreachableFeed, ClosedPortIsAClearError) {
  QTcpServer closed;
  ASSERT_TRUE(closed.listen(QHostAddress::LocalHost, 0));
  const quint16 port = closed.serverPort();
  closed.close();
  UpdateChecker checker(QUrl(QStringLiteral("http://127.0.0.1:%1/appcast.xml").arg(port)), "1.2.0");
  std::optional<UpdateCheckResult> result;
  checker.check([&](UpdateCheckResult found) { result = std::move(found); });
  ASSERT_TRUE(waitUntil([&] { return result.has_value(); }));
  EXPECT_EQ(result->kind, UpdateCheckResult::Kind::failed);
  EXPECT_TRUE(result->error.starts_with("the update server could not be reached: ")) << result->error;
}

TEST(UnreachableFeed, AddressThatIsNoWebAddressFailsFromTheEventLoop) {
  UpdateChecker checker(QUrl(QStringLiteral("file:///etc/appcast.xml")), "1.2.0");
  std::optional<UpdateCheckResult> result;
  checker.check([&](UpdateCheckResult found) { result = std::move(found); });
  EXPECT_FALSE(result.has_value());  // never inside check()
  ASSERT_TRUE(waitUntil([&] { return result.has_value(); }));
  EXPECT_EQ(result->error, "the update feed address is not a web address: file:///etc/appcast.xml");
}

TEST(FeedAddress, EnvironmentWinsAndEmptyMeansNoUpdater) {
  qputenv("PELLUM_FEED_URL", "https://pellum.example/appcast.xml");
  EXPECT_EQ(configuredFeedURL(), "https://pellum.example/appcast.xml");
  qputenv("PELLUM_FEED_URL", "");
  EXPECT_EQ(configuredFeedURL(), "");  // this build has no feed of its own
  qunsetenv("PELLUM_FEED_URL");
}

}  // namespace
}  // namespace pellum
