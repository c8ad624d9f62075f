// The upload against a scripted HTTP peer: replies are written by hand and
// split at awkward places, including ones a real server would never send.
#include "transcription/transcription_client.h"

#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QThread>
#include <atomic>
#include <mutex>

#include "support/event_loop.h"
#include "support/scripted_http_peer.h"
#include "transcription/multipart_body.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::ScriptedHttpPeer;
using test::spin;
using test::waitUntil;
using Step = ScriptedHttpPeer::Step;

struct UploadOutcome {
  std::mutex mutex;
  std::vector<UploadResult> results;
  QString threadName;
  std::atomic<bool> ended{false};

  TranscriptionClient::UploadCompletion completion() {
    return [this](UploadResult result) {
      std::lock_guard guard(mutex);
      if (results.empty()) threadName = QThread::currentThread()->objectName();
      results.push_back(std::move(result));
    };
  }
  std::function<void()> onEnded() {
    return [this] { ended = true; };
  }
  std::size_t count() {
    std::lock_guard guard(mutex);
    return results.size();
  }
  UploadResult first() {
    std::lock_guard guard(mutex);
    return results.front();
  }
};

class TranscriptionClientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    client_ = std::make_unique<TranscriptionClient>(
        peer_.httpBase().toStdString(), [] { return std::optional<std::string>("tok-9"); },
        [] { return std::string("en,de"); });
  }

  void upload(TranscriptionMode mode = TranscriptionMode::clean, std::string contentType = "audio/wav") {
    client_->transcribe(std::string("RIFF-audio\0bytes", 16), std::move(contentType), mode,
                        outcome_.completion(), outcome_.onEnded());
  }
  bool ended() {
    return waitUntil([&] { return outcome_.ended.load(); });
  }

  ScriptedHttpPeer peer_;
  std::unique_ptr<TranscriptionClient> client_;
  UploadOutcome outcome_;
};

QByteArray doneReply() { return "event: raw\ndata: \"hi\"\nevent: done\ndata: {}\n"; }

TEST_F(TranscriptionClientTest, RequestIsTheMultipartFormByteForByte) {
  peer_.setReply({{ScriptedHttpPeer::eventStreamHead() + doneReply(), 0, true}});
  upload(TranscriptionMode::raw);
  ASSERT_TRUE(ended());
  EXPECT_EQ(peer_.method(), "POST");
  EXPECT_EQ(peer_.path(), "/transcribe");
  EXPECT_EQ(peer_.header("Authorization"), "Bearer tok-9");
  const QByteArray contentType = peer_.header("Content-Type");
  const auto match =
      QRegularExpression(QStringLiteral("^multipart/form-data; boundary=([0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-"
                                        "[0-9A-F]{4}-[0-9A-F]{12})$"))
          .match(QString::fromLatin1(contentType));
  ASSERT_TRUE(match.hasMatch()) << contentType.toStdString();
  const std::string boundary = match.captured(1).toStdString();
  const std::string expected = buildMultipartBody(boundary, TranscriptionMode::raw, "en,de", "audio/wav",
                                                  std::string("RIFF-audio\0bytes", 16));
  EXPECT_EQ(peer_.body().toStdString(), expected);
  EXPECT_NE(expected.find("filename=\"recording.webm\""), std::string::npos);
}

TEST_F(TranscriptionClientTest, EveryUploadGetsAFreshBoundary) {
  peer_.setReply({{ScriptedHttpPeer::eventStreamHead() + doneReply(), 0, true}});
  upload();
  ASSERT_TRUE(ended());
  const QByteArray first = peer_.header("Content-Type");
  ScriptedHttpPeer second;
  second.setReply({{ScriptedHttpPeer::eventStreamHead() + doneReply(), 0, true}});
  TranscriptionClient other(
      second.httpBase().toStdString(), [] { return std::optional<std::string>("t"); },
      [] { return std::string("en"); });
  UploadOutcome outcome;
  other.transcribe("x", "audio/mp4", TranscriptionMode::clean, outcome.completion(), outcome.onEnded());
  ASSERT_TRUE(waitUntil([&] { return outcome.ended.load(); }));
  EXPECT_NE(first, second.header("Content-Type"));
  EXPECT_TRUE(second.body().contains("filename=\"recording.m4a\""));
}

TEST_F(TranscriptionClientTest, ReplySplitMidDataLineYieldsTheWholeChunk) {
  peer_.setReply({
      {ScriptedHttpPeer::eventStreamHead() + "event: chunk\ndata: \"Hello, wo", 0, false},
      {"rld.\"\nevent: done\ndata: {}\n", 150, true},
  });
  upload();
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  EXPECT_EQ(outcome_.first(), UploadResult::success("Hello, world."));
}

TEST_F(TranscriptionClientTest, ReplySplitMidCharacterLosesBothPieces) {
  // Each delivery must be valid UTF-8 on its own; a server that splits a
  // character between writes loses both halves' text. Ours never does (it
  // escapes everything outside ASCII); this pins the client's side.
  peer_.setReply({
      {ScriptedHttpPeer::eventStreamHead() + "event: chunk\ndata: \"first\"\n", 0, false},
      {"event: chunk\ndata: \"caf\xC3", 150, false},
      {"\xA9\"\nevent: chunk\ndata: \" lost\"\n", 150, false},
      {"event: chunk\ndata: \" last\"\nevent: done\ndata: {}\n", 150, true},
  });
  upload();
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  EXPECT_EQ(outcome_.first(), UploadResult::success("first last"));
}

TEST_F(TranscriptionClientTest, UnauthorizedIsReportedOnceAndTheRequestCancelled) {
  peer_.setReply(
      {{"HTTP/1.1 401 Unauthorized\r\nContent-Type: text/event-stream\r\nContent-Length: 39\r\n\r\n"
        "event: error\ndata: unauthorized device\n",
        0, false}});
  upload();
  ASSERT_TRUE(ended());
  spin(100ms);
  ASSERT_EQ(outcome_.count(), 1u);
  EXPECT_EQ(outcome_.first(), UploadResult::failure(TranscriptionError::unauthorized()));
  EXPECT_EQ(outcome_.first().error().description(), "Device access revoked. Sign in again.");
}

TEST_F(TranscriptionClientTest, ErrorStatusBodiesAreParsedAsEventStreams) {
  peer_.setReply(
      {{ScriptedHttpPeer::eventStreamHead(415) + "event: error\ndata: unsupported audio format\n", 0, true}});
  upload();
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  EXPECT_EQ(outcome_.first().error().description(), "Server error: unsupported audio format");
}

TEST_F(TranscriptionClientTest, StreamEndingWithoutDoneOrErrorCallsNothing) {
  peer_.setReply({{ScriptedHttpPeer::eventStreamHead() + "event: raw\ndata: \"half\"\n", 0, true}});
  upload();
  ASSERT_TRUE(ended());
  spin(100ms);
  EXPECT_EQ(outcome_.count(), 0u);
}

TEST_F(TranscriptionClientTest, DropMidBodyIsATransportError) {
  peer_.setReply(
      {{"HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nContent-Length: 500\r\n\r\n"
        "event: raw\ndata: \"half\"\n",
        0, true}});
  upload();
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  ASSERT_FALSE(outcome_.first().ok());
  ASSERT_NE(outcome_.first().error().transportError(), nullptr);
  EXPECT_FALSE(outcome_.first().error().description().empty());
}

TEST_F(TranscriptionClientTest, SecondResultIsDropped) {
  peer_.setReply(
      {{ScriptedHttpPeer::eventStreamHead() + doneReply() + "event: error\ndata: late\n" + doneReply(), 0,
        true}});
  upload();
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  EXPECT_EQ(outcome_.first(), UploadResult::success("hi"));
}

TEST_F(TranscriptionClientTest, IdleServerTimesOut) {
  client_->setUploadIdleTimeout(300ms);
  upload();  // the peer never answers
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  ASSERT_NE(outcome_.first().error().transportError(), nullptr);
  EXPECT_EQ(outcome_.first().error().transportError()->kind, TransportError::Kind::timedOut);
  EXPECT_EQ(outcome_.first().error().description(), "The request timed out.");
}

// A redirect would carry the device token, and with 307 the whole
// recording, to wherever the server points; the client follows none.
class TranscriptionClientRedirectTest : public TranscriptionClientTest,
                                        public ::testing::WithParamInterface<int> {};

TEST_P(TranscriptionClientRedirectTest, ScriptedRedirectToAnotherHostIsNotFollowed) {
  ScriptedHttpPeer elsewhere;
  elsewhere.setReply({{ScriptedHttpPeer::eventStreamHead() + doneReply(), 0, true}});
  const QByteArray target = elsewhere.httpBase().toUtf8() + "/collect";
  peer_.setReply({{"HTTP/1.1 " + QByteArray::number(GetParam()) + " Moved\r\nLocation: " + target +
                       "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n",
                   0, true}});
  upload();
  ASSERT_TRUE(ended());
  spin(200ms);  // time enough for a followed request to reach the other host
  EXPECT_EQ(elsewhere.connectionCount(), 0);
  EXPECT_TRUE(elsewhere.header("Authorization").isEmpty());
  EXPECT_TRUE(elsewhere.body().isEmpty());
  ASSERT_EQ(outcome_.count(), 1u);
  ASSERT_FALSE(outcome_.first().ok());
  EXPECT_EQ(outcome_.first().error().description(),
            "Server error: the server redirected the upload to " + target.toStdString() + "; not followed");
}

INSTANTIATE_TEST_SUITE_P(Statuses, TranscriptionClientRedirectTest,
                         ::testing::Values(301, 302, 303, 307, 308));

TEST_F(TranscriptionClientTest, ScriptedTrickleOfEventsTimesOutAtTheReplyDeadline) {
  // One event every 100 ms keeps the connection from ever going idle.
  client_->setUploadReplyDeadline(500ms);
  QList<Step> steps{{ScriptedHttpPeer::eventStreamHead(), 0, false}};
  for (int i = 0; i < 200; ++i) steps.append({"event: raw\ndata: \"still going\"\n", 100, false});
  peer_.setReply(steps);
  upload();
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  ASSERT_NE(outcome_.first().error().transportError(), nullptr);
  EXPECT_EQ(outcome_.first().error().transportError()->kind, TransportError::Kind::timedOut);
  EXPECT_EQ(outcome_.first().error().description(), "The server did not finish its answer within 500 ms.");
}

TEST_F(TranscriptionClientTest, ReplyWithinTheDeadlineIsKept) {
  client_->setUploadReplyDeadline(5000ms);
  peer_.setReply({{ScriptedHttpPeer::eventStreamHead() + "event: raw\ndata: \"hi\"\n", 0, false},
                  {"event: done\ndata: {}\n", 100, true}});
  upload();
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  EXPECT_EQ(outcome_.first(), UploadResult::success("hi"));
}

TEST_F(TranscriptionClientTest, ScriptedEndlessLineEndsTheUploadWithAnError) {
  // 3 MiB without a line feed, in 64 KiB writes; the client gives up after
  // the first MiB and drops the connection.
  QList<Step> steps{{ScriptedHttpPeer::eventStreamHead() + "data: ", 0, false}};
  for (int i = 0; i < 48; ++i) steps.append({QByteArray(64 * 1024, 'x'), 0, false});
  steps.append({"\nevent: done\ndata: {}\n", 0, true});
  peer_.setReply(steps);
  upload();
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  EXPECT_EQ(outcome_.first(),
            UploadResult::failure(TranscriptionError::serverError("the reply has a line longer than 1 MiB")));
  EXPECT_EQ(outcome_.first().error().description(), "Server error: the reply has a line longer than 1 MiB");
}

TEST_F(TranscriptionClientTest, ScriptedEndlessChunksEndTheUploadWithAnError) {
  const QByteArray chunk = "event: chunk\ndata: \"" + QByteArray(60 * 1024, 'y') + "\"\n";
  QList<Step> steps{{ScriptedHttpPeer::eventStreamHead(), 0, false}};
  for (int i = 0; i < 40; ++i) steps.append({chunk, 0, false});
  steps.append({"event: done\ndata: {}\n", 0, true});
  peer_.setReply(steps);
  upload();
  ASSERT_TRUE(ended());
  ASSERT_EQ(outcome_.count(), 1u);
  EXPECT_EQ(outcome_.first().error().description(),
            "Server error: the transcript in the reply is larger than 1 MiB");
}

TEST_F(TranscriptionClientTest, CompletionRunsOnTheUploadThread) {
  peer_.setReply({{ScriptedHttpPeer::eventStreamHead() + doneReply(), 0, true}});
  upload();
  ASSERT_TRUE(ended());
  EXPECT_EQ(outcome_.threadName, QStringLiteral("pellum.upload"));
}

TEST(TranscriptionClientUpload, RefusedConnectionIsATransportError) {
  TranscriptionClient client(
      "http://127.0.0.1:9", [] { return std::optional<std::string>("t"); }, [] { return std::string("en"); });
  UploadOutcome outcome;
  client.transcribe("x", "audio/wav", TranscriptionMode::clean, outcome.completion(), outcome.onEnded());
  ASSERT_TRUE(waitUntil([&] { return outcome.ended.load(); }));
  ASSERT_EQ(outcome.count(), 1u);
  ASSERT_NE(outcome.first().error().transportError(), nullptr);
  EXPECT_EQ(outcome.first().error().description(), "Connection refused");
}

TEST(TranscriptionClientUpload, NoTokenFailsAtOnce) {
  TranscriptionClient client(
      "http://127.0.0.1:9", [] { return std::optional<std::string>(); }, [] { return std::string("en"); });
  UploadOutcome outcome;
  client.transcribe("x", "audio/wav", TranscriptionMode::clean, outcome.completion(), outcome.onEnded());
  ASSERT_EQ(outcome.count(), 1u);
  EXPECT_EQ(outcome.first(), UploadResult::failure(TranscriptionError::notSignedIn()));
  EXPECT_TRUE(outcome.ended);
}

TEST(TranscriptionClientUpload, UnparsableUrlFailsAtOnce) {
  TranscriptionClient client(
      "http://bad host", [] { return std::optional<std::string>("t"); }, [] { return std::string("en"); });
  UploadOutcome outcome;
  client.transcribe("x", "audio/wav", TranscriptionMode::clean, outcome.completion(), outcome.onEnded());
  ASSERT_EQ(outcome.count(), 1u);
  EXPECT_EQ(outcome.first(), UploadResult::failure(TranscriptionError::invalidURL()));
}

}  // namespace
}  // namespace pellum
