// The streaming session against a scripted WebSocket peer: every case here
// is a reply sequence that the test writes by hand, including ones a real
// server would never send.
#include "transcription/streaming_session.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <atomic>
#include <mutex>

#include "support/event_loop.h"
#include "support/scripted_http_peer.h"
#include "support/scripted_live_peer.h"
#include "transcription/transcription_client.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::ScriptedLivePeer;
using test::spin;
using test::waitUntil;

// Collects the session's completions from whatever thread they run on.
// Sessions live until they deliver, possibly past the test that started
// them, so the completion holds the collected state, not the collector.
class Outcome {
 public:
  StreamingSession::Completion completion() {
    state_->clock.start();
    return [state = state_](StreamingResult result) {
      std::lock_guard guard(state->mutex);
      if (state->results.empty()) {
        state->threadName = QThread::currentThread()->objectName();
        state->elapsedAtFirst = state->clock.elapsed();
      }
      state->results.push_back(std::move(result));
    };
  }
  std::size_t count() {
    std::lock_guard guard(state_->mutex);
    return state_->results.size();
  }
  StreamingResult first() {
    std::lock_guard guard(state_->mutex);
    return state_->results.front();
  }
  QString threadName() {
    std::lock_guard guard(state_->mutex);
    return state_->threadName;
  }

 private:
  struct State {
    std::mutex mutex;
    std::vector<StreamingResult> results;
    QString threadName;
    qint64 elapsedAtFirst = -1;
    QElapsedTimer clock;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

class StreamingSessionTest : public ::testing::Test {
 protected:
  std::shared_ptr<StreamingSession> start(TranscriptionMode mode = TranscriptionMode::clean,
                                          std::optional<std::string> translateTo = std::nullopt,
                                          std::string language = "en") {
    client_ = std::make_unique<TranscriptionClient>(
        peer_.httpBase().toStdString(), [] { return std::optional<std::string>("tok-123"); },
        [] { return std::string("en"); });
    client_->setLiveDeadlines(deadlines_);
    auto session = client_->startStreaming(mode, language, translateTo, 16000.0, outcome_.completion());
    EXPECT_TRUE(session);
    EXPECT_TRUE(waitUntil([&] { return peer_.hasClient(); }));
    return session;
  }

  bool finish() {
    return waitUntil([&] { return outcome_.count() > 0; });
  }

  ScriptedLivePeer peer_;
  LiveDeadlines deadlines_;
  std::unique_ptr<TranscriptionClient> client_;
  Outcome outcome_;
};

TEST_F(StreamingSessionTest, SendsTheRouteAndTheTokenOnlyInTheAuthorizationHeader) {
  auto session = start(TranscriptionMode::raw, std::string("de"), "en,fr");
  const QUrl url = peer_.request().url();
  EXPECT_EQ(url.path(), QStringLiteral("/transcribe/stream"));
  EXPECT_EQ(url.query(),
            QStringLiteral("provider=gladia&mode=raw&language=en,fr&sample_rate=16000&translate_to=de"));
  EXPECT_EQ(peer_.request().rawHeader("Authorization"), QByteArray("Bearer tok-123"));
  EXPECT_FALSE(url.toString().contains(QStringLiteral("tok-123")));
}

TEST_F(StreamingSessionTest, AudioIsSentUnchangedAndInOrderEvenBeforeTheConnectionIsReady) {
  client_ = std::make_unique<TranscriptionClient>(
      peer_.httpBase().toStdString(), [] { return std::optional<std::string>("t"); },
      [] { return std::string("en"); });
  auto session =
      client_->startStreaming(TranscriptionMode::clean, "en", std::nullopt, 16000, outcome_.completion());
  for (char c = 'a'; c < 'f'; ++c) session->sendAudio(std::string(960, c));
  session->stop();
  ASSERT_TRUE(waitUntil([&] { return peer_.received().size() == 6; }));
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(peer_.received()[i].binary);
    EXPECT_EQ(peer_.received()[i].payload, QByteArray(960, static_cast<char>('a' + i)));
  }
  EXPECT_FALSE(peer_.received()[5].binary);
  EXPECT_EQ(peer_.received()[5].payload, QByteArray(R"({"type":"stop"})"));
}

TEST_F(StreamingSessionTest, StopTwiceSendsOneStopMessage) {
  auto session = start();
  session->stop();
  session->stop();
  spin(200ms);
  EXPECT_EQ(peer_.stopCount(), 1);
}

TEST_F(StreamingSessionTest, AudioAfterStopIsNotSent) {
  auto session = start();
  session->sendAudio(std::string(960, 'x'));
  session->stop();
  session->sendAudio(std::string(960, 'y'));
  spin(200ms);
  EXPECT_EQ(peer_.binaryCount(), 1);
}

TEST_F(StreamingSessionTest, AudioAfterCompletionIsNotSent) {
  auto session = start();
  peer_.sendText(R"({"type":"error","error":"provider down"})");
  ASSERT_TRUE(finish());
  session->sendAudio(std::string(960, 'y'));
  spin(200ms);
  EXPECT_EQ(peer_.binaryCount(), 0);
}

TEST_F(StreamingSessionTest, CleanModeRawAfterStopStartsNoTimer) {
  auto session = start(TranscriptionMode::clean);
  session->stop();
  peer_.sendText(R"({"type":"raw","text":"hello"})");
  spin(600ms);
  EXPECT_EQ(outcome_.count(), 0u);
  peer_.sendText(R"({"type":"chunk","text":"Hello."})");
  peer_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::success("Hello."));
}

TEST_F(StreamingSessionTest, RawModeWithTranslationStartsNoTimer) {
  auto session = start(TranscriptionMode::raw, std::string("es"));
  session->stop();
  peer_.sendText(R"({"type":"raw","text":"hello"})");
  spin(600ms);
  EXPECT_EQ(outcome_.count(), 0u);
}

TEST_F(StreamingSessionTest, RawModeRawBeforeStopStartsNoTimer) {
  auto session = start(TranscriptionMode::raw);
  peer_.sendText(R"({"type":"raw","text":"hello"})");
  spin(600ms);
  EXPECT_EQ(outcome_.count(), 0u);
}

TEST_F(StreamingSessionTest, RawModeFinishes250msAfterTheLastRawMessage) {
  auto session = start(TranscriptionMode::raw);
  session->stop();
  ASSERT_TRUE(waitUntil([&] { return peer_.stopCount() == 1; }));
  QElapsedTimer sinceFirstRaw;
  sinceFirstRaw.start();
  peer_.sendText(R"({"type":"raw","text":"first"})");
  waitUntil([&] { return sinceFirstRaw.elapsed() >= 200; });
  peer_.sendText(R"({"type":"raw","text":"second"})");
  ASSERT_TRUE(finish());
  // The timer cannot fire early, so the earliest possible finish is 450 ms
  // after the first message; only that bound is checked.
  EXPECT_GE(sinceFirstRaw.elapsed(), 440);
  EXPECT_EQ(outcome_.first(), StreamingResult::success("second"));
}

TEST_F(StreamingSessionTest, DoneWithNoTextIsAnEmptySuccess) {
  auto session = start();
  peer_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::success(""));
}

TEST_F(StreamingSessionTest, ChunksConcatenateAndWinOverRaw) {
  auto session = start();
  peer_.sendText(R"({"type":"chunk","text":"Hello"})");
  peer_.sendText(R"({"type":"raw","text":"hello world"})");
  peer_.sendText(R"({"type":"chunk","text":" world"})");
  peer_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::success("Hello world"));
}

TEST_F(StreamingSessionTest, ErrorWithoutErrorKeyIsUnknown) {
  auto session = start();
  peer_.sendText(R"({"type":"error"})");
  ASSERT_TRUE(finish());
  ASSERT_FALSE(outcome_.first().ok());
  EXPECT_EQ(outcome_.first().error().description(), "Streaming failed: unknown");
}

TEST_F(StreamingSessionTest, NoSpeechError) {
  auto session = start();
  peer_.sendText(R"({"type":"error","error":"no speech detected"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::failure(StreamingError::noSpeech()));
}

TEST_F(StreamingSessionTest, JsonInBinaryMessagesIsHandledToo) {
  auto session = start();
  peer_.sendBinary(R"({"type":"chunk","text":"bin"})");
  peer_.sendBinary(R"({"type":"done"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::success("bin"));
}

TEST_F(StreamingSessionTest, MalformedMessagesAreIgnored) {
  auto session = start();
  peer_.sendText("not json at all");
  peer_.sendText("[\"array\"]");
  peer_.sendText(R"({"type":"mystery"})");
  peer_.sendText(R"({"no":"type"})");
  peer_.sendText(R"({"type":"chunk","text":"still here"})");
  peer_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::success("still here"));
}

TEST_F(StreamingSessionTest, CloseFrameWithNothingTranscribedFails) {
  auto session = start();
  peer_.close();
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(),
            StreamingResult::failure(StreamingError::gladiaFailed("server sent close opcode")));
}

TEST_F(StreamingSessionTest, DropAfterSomeTranscriptStillDeliversIt) {
  auto session = start();
  peer_.sendText(R"({"type":"raw","text":"so far"})");
  spin(100ms);
  peer_.drop();
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::success("so far"));
}

TEST_F(StreamingSessionTest, DropWithNothingTranscribedIsAReceiveError) {
  auto session = start();
  spin(100ms);
  peer_.drop();
  ASSERT_TRUE(finish());
  ASSERT_FALSE(outcome_.first().ok());
  EXPECT_EQ(outcome_.first().error().kind(), StreamingError::Kind::gladiaFailed);
  EXPECT_TRUE(outcome_.first().error().message().starts_with("recv error: "))
      << outcome_.first().error().message();
}

TEST_F(StreamingSessionTest, SecondResultAfterCompletionIsDropped) {
  auto session = start();
  peer_.sendText(R"({"type":"done"})");
  peer_.sendText(R"({"type":"error","error":"late"})");
  peer_.close();
  ASSERT_TRUE(finish());
  spin(300ms);
  EXPECT_EQ(outcome_.count(), 1u);
  EXPECT_TRUE(session->isFinished());
}

TEST_F(StreamingSessionTest, CompletionRunsOnTheSessionThread) {
  auto session = start();
  peer_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.threadName(), QStringLiteral("pellum.streaming-session"));
}

TEST_F(StreamingSessionTest, DroppedSessionStillDeliversItsResult) {
  auto session = start();
  session->stop();
  std::weak_ptr<StreamingSession> weak = session;
  session.reset();
  EXPECT_FALSE(weak.expired());
  ASSERT_TRUE(waitUntil([&] { return peer_.stopCount() == 1; }));
  peer_.sendText(R"({"type":"chunk","text":"kept"})");
  peer_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::success("kept"));
  ASSERT_TRUE(waitUntil([&] { return weak.expired(); }));
}

TEST_F(StreamingSessionTest, ScriptedSilenceAfterStopFailsAfterTheDeadline) {
  deadlines_.afterStop = 300ms;
  auto session = start();
  session->sendAudio(std::string(960, 'a'));
  session->stop();
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::failure(StreamingError::gladiaFailed(
                                  "no answer within 300 ms after the end of the audio")));
}

TEST_F(StreamingSessionTest, ScriptedCleanModeRawWithoutDoneFailsAfterTheDeadline) {
  // A partial raw text is no transcript in clean mode: the upload gives a
  // whole one.
  deadlines_.afterStop = 300ms;
  auto session = start(TranscriptionMode::clean);
  session->stop();
  ASSERT_TRUE(waitUntil([&] { return peer_.stopCount() == 1; }));
  peer_.sendText(R"({"type":"raw","text":"half"})");
  spin(100ms);
  peer_.sendText(R"({"type":"raw","text":"half of it"})");
  ASSERT_TRUE(finish());
  ASSERT_FALSE(outcome_.first().ok());
  EXPECT_EQ(outcome_.first().error().kind(), StreamingError::Kind::gladiaFailed);
  EXPECT_EQ(outcome_.first().error().message(), "no answer within 300 ms after the end of the audio");
}

TEST_F(StreamingSessionTest, AnswerBeforeTheDeadlineAfterStopIsKept) {
  deadlines_.afterStop = 2000ms;
  auto session = start();
  session->stop();
  ASSERT_TRUE(waitUntil([&] { return peer_.stopCount() == 1; }));
  peer_.sendText(R"({"type":"chunk","text":"in time"})");
  peer_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::success("in time"));
}

TEST_F(StreamingSessionTest, ScriptedOversizedMessageFailsTheSession) {
  auto session = start();
  peer_.sendText(R"({"type":"chunk","text":"kept so far"})");
  const QByteArray huge = R"({"type":"chunk","text":")" + QByteArray(kMaxLiveMessageBytes, 'x') + R"("})";
  peer_.sendText(huge);
  ASSERT_TRUE(finish());
  EXPECT_EQ(
      outcome_.first(),
      StreamingResult::failure(StreamingError::gladiaFailed("the server sent a message larger than 1 MiB")));
}

TEST_F(StreamingSessionTest, MessageJustUnderTheLimitIsAccepted) {
  auto session = start();
  const std::string prefix = R"({"type":"chunk","text":")";
  const std::string suffix = R"("})";
  const std::string text(kMaxLiveMessageBytes - prefix.size() - suffix.size(), 'x');
  peer_.sendText(QByteArray::fromStdString(prefix + text + suffix));
  peer_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(finish());
  EXPECT_EQ(outcome_.first(), StreamingResult::success(text));
}

TEST(StreamingSessionStart, NoTokenFailsAtOnceOnTheCallingThread) {
  TranscriptionClient client(
      "http://127.0.0.1:1", [] { return std::optional<std::string>(); }, [] { return std::string("en"); });
  Outcome outcome;
  auto session =
      client.startStreaming(TranscriptionMode::clean, "en", std::nullopt, 16000, outcome.completion());
  EXPECT_EQ(session, nullptr);
  ASSERT_EQ(outcome.count(), 1u);
  EXPECT_EQ(outcome.first(), StreamingResult::failure(StreamingError::notSignedIn()));
  EXPECT_EQ(outcome.threadName(), QThread::currentThread()->objectName());
}

TEST(StreamingSessionStart, UnparsableUrlFailsAtOnce) {
  TranscriptionClient client(
      "http://127.0.0.1:1", [] { return std::optional<std::string>("t"); }, [] { return std::string("en"); });
  Outcome outcome;
  auto session =
      client.startStreaming(TranscriptionMode::clean, "en fr", std::nullopt, 16000, outcome.completion());
  EXPECT_EQ(session, nullptr);
  ASSERT_EQ(outcome.count(), 1u);
  EXPECT_EQ(outcome.first(), StreamingResult::failure(StreamingError::invalidURL()));
}

TEST(StreamingSessionStart, RefusedConnectionIsAFailedState) {
  TranscriptionClient client(
      "http://127.0.0.1:9", [] { return std::optional<std::string>("t"); }, [] { return std::string("en"); });
  Outcome outcome;
  auto session =
      client.startStreaming(TranscriptionMode::clean, "en", std::nullopt, 16000, outcome.completion());
  ASSERT_TRUE(waitUntil([&] { return outcome.count() > 0; }));
  ASSERT_FALSE(outcome.first().ok());
  EXPECT_TRUE(outcome.first().error().message().starts_with("state .failed: "))
      << outcome.first().error().message();
}

// A listener that answers every WebSocket upgrade with `reply`, verbatim.
class ScriptedUpgradeAnswer {
 public:
  explicit ScriptedUpgradeAnswer(QByteArray reply) {
    listener_.listen(QHostAddress::LocalHost, 0);
    QObject::connect(&listener_, &QTcpServer::newConnection, [this, reply] {
      QTcpSocket* socket = listener_.nextPendingConnection();
      QObject::connect(socket, &QTcpSocket::readyRead, [socket, reply] {
        socket->readAll();
        if (!reply.isEmpty()) socket->write(reply);
      });
    });
  }
  std::string base() const { return "http://127.0.0.1:" + std::to_string(listener_.serverPort()); }

 private:
  QTcpServer listener_;
};

TEST(StreamingSessionStart, ScriptedRedirectOfTheHandshakeIsNotFollowed) {
  test::ScriptedHttpPeer elsewhere;
  ScriptedLivePeer elsewhereLive;
  elsewhere.setUpgradeHandler([&](QTcpSocket* socket) { elsewhereLive.adopt(socket); });
  ScriptedUpgradeAnswer redirecting(
      "HTTP/1.1 307 Temporary Redirect\r\nLocation: ws://127.0.0.1:" + QByteArray::number(elsewhere.port()) +
      "/transcribe/stream\r\nContent-Length: 0\r\n\r\n");
  TranscriptionClient client(
      redirecting.base(), [] { return std::optional<std::string>("tok-123"); },
      [] { return std::string("en"); });
  Outcome outcome;
  auto session =
      client.startStreaming(TranscriptionMode::clean, "en", std::nullopt, 16000, outcome.completion());
  ASSERT_TRUE(waitUntil([&] { return outcome.count() > 0; }));
  spin(200ms);  // time enough for a followed handshake to reach the other host
  EXPECT_EQ(elsewhere.connectionCount(), 0);
  EXPECT_FALSE(elsewhereLive.hasClient());
  ASSERT_FALSE(outcome.first().ok());
  EXPECT_EQ(outcome.first().error().kind(), StreamingError::Kind::gladiaFailed);
}

TEST(StreamingSessionStart, ScriptedHandshakeNeverAnsweredFailsAfterTheDeadline) {
  ScriptedUpgradeAnswer silent({});  // accepts the connection, never answers
  TranscriptionClient client(
      silent.base(), [] { return std::optional<std::string>("t"); }, [] { return std::string("en"); });
  client.setLiveDeadlines({.handshake = 300ms, .afterStop = LiveDeadlines::kAfterStop});
  Outcome outcome;
  auto session =
      client.startStreaming(TranscriptionMode::clean, "en", std::nullopt, 16000, outcome.completion());
  ASSERT_TRUE(waitUntil([&] { return outcome.count() > 0; }));
  EXPECT_EQ(outcome.first(), StreamingResult::failure(StreamingError::gladiaFailed(
                                 "state .failed: the server did not accept the connection within 300 ms")));
}

// The first bytes a client writes tell TLS (a handshake record, 0x16 0x03)
// from a plain WebSocket upgrade ("GET ").
QByteArray firstBytesSentFor(const std::string& scheme) {
  QTcpServer listener;
  listener.listen(QHostAddress::LocalHost, 0);
  QByteArray first;
  QObject::connect(&listener, &QTcpServer::newConnection, [&] {
    QTcpSocket* socket = listener.nextPendingConnection();
    QObject::connect(socket, &QTcpSocket::readyRead, [&first, socket] { first += socket->readAll(); });
  });
  TranscriptionClient client(
      scheme + "://127.0.0.1:" + std::to_string(listener.serverPort()),
      [] { return std::optional<std::string>("t"); }, [] { return std::string("en"); });
  client.setLiveDeadlines({.handshake = 300ms, .afterStop = LiveDeadlines::kAfterStop});
  Outcome outcome;
  auto session =
      client.startStreaming(TranscriptionMode::clean, "en", std::nullopt, 16000, outcome.completion());
  waitUntil([&] { return first.size() >= 4; });
  // Let the session end before the process does: a TLS handshake still
  // running on the session thread while OpenSSL is torn down at exit crashes.
  waitUntil([&] { return outcome.count() > 0; });
  return first;
}

TEST(StreamingSessionStart, HttpsAddressSpeaksTls) {
  const QByteArray first = firstBytesSentFor("https");
  ASSERT_GE(first.size(), 2);
  EXPECT_EQ(first[0], '\x16');
  EXPECT_EQ(first[1], '\x03');
}

TEST(StreamingSessionStart, HttpAddressSpeaksPlainTcp) {
  EXPECT_TRUE(firstBytesSentFor("http").startsWith("GET /transcribe/stream?provider=gladia&mode=clean"));
}

}  // namespace
}  // namespace pellum
