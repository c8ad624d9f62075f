#include "transcription/streaming_session.h"

#include <QNetworkRequest>
#include <QTimer>
#include <QWebSocket>

#include "transcription/duration_text.h"

namespace pellum {
namespace {

constexpr char kStopMessage[] = R"({"type":"stop"})";

}  // namespace

std::shared_ptr<StreamingSession> StreamingSession::start(const QUrl& url, const std::string& token,
                                                          TranscriptionMode mode, bool translating,
                                                          LiveDeadlines deadlines, Completion completion) {
  std::shared_ptr<StreamingSession> session(
      new StreamingSession(mode, translating, deadlines, std::move(completion)));
  session->keepAlive_ = session;
  session->open(url, QByteArray("Bearer ") + QByteArray::fromStdString(token));
  return session;
}

StreamingSession::StreamingSession(TranscriptionMode mode, bool translating, LiveDeadlines deadlines,
                                   Completion completion)
    : completion_(std::move(completion)), transcript_(mode, translating), deadlines_(deadlines) {}

// The socket and the timers are children of the worker's context and go
// with it on the session thread, when `worker_` ends.
StreamingSession::~StreamingSession() = default;

void StreamingSession::open(const QUrl& url, const QByteArray& authorization) {
  std::weak_ptr<StreamingSession> weak = weak_from_this();
  worker_.post([this, weak, url, authorization] {
    auto self = weak.lock();
    if (!self) return;
    socket_ = new QWebSocket(QString(), QWebSocketProtocol::Version13, worker_.context());
    socket_->setMaxAllowedIncomingMessageSize(kMaxLiveMessageBytes);
    socket_->setMaxAllowedIncomingFrameSize(kMaxLiveMessageBytes);
    rawFinishTimer_ = new QTimer(worker_.context());
    rawFinishTimer_->setSingleShot(true);
    rawFinishTimer_->setTimerType(Qt::PreciseTimer);
    handshakeTimer_ = new QTimer(worker_.context());
    handshakeTimer_->setSingleShot(true);
    afterStopTimer_ = new QTimer(worker_.context());
    afterStopTimer_->setSingleShot(true);
    auto guarded = [weak](void (StreamingSession::*method)()) {
      return [weak, method] {
        if (auto session = weak.lock()) (session.get()->*method)();
      };
    };
    QObject::connect(rawFinishTimer_, &QTimer::timeout, worker_.context(),
                     guarded(&StreamingSession::onRawFinishTimer));
    QObject::connect(handshakeTimer_, &QTimer::timeout, worker_.context(),
                     guarded(&StreamingSession::onHandshakeDeadline));
    QObject::connect(afterStopTimer_, &QTimer::timeout, worker_.context(),
                     guarded(&StreamingSession::onAfterStopDeadline));
    // Qt answers an oversized message with a close frame of its own and then
    // waits for the server's, which a misbehaving server may never send.
    QObject::connect(socket_, &QWebSocket::aboutToClose, worker_.context(),
                     guarded(&StreamingSession::onClosing));
    QObject::connect(socket_, &QWebSocket::connected, worker_.context(),
                     guarded(&StreamingSession::onConnected));
    QObject::connect(socket_, &QWebSocket::disconnected, worker_.context(),
                     guarded(&StreamingSession::onDisconnected));
    QObject::connect(socket_, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), worker_.context(),
                     guarded(&StreamingSession::onSocketError));
    QObject::connect(socket_, &QWebSocket::textMessageReceived, worker_.context(),
                     [weak](const QString& message) {
                       if (auto session = weak.lock()) session->handleMessage(message.toUtf8());
                     });
    QObject::connect(socket_, &QWebSocket::binaryMessageReceived, worker_.context(),
                     [weak](const QByteArray& message) {
                       if (auto session = weak.lock()) session->handleMessage(message);
                     });
    QNetworkRequest request(url);
    request.setRawHeader("Authorization", authorization);
    handshakeTimer_->start(deadlines_.handshake);
    socket_->open(request);
  });
}

void StreamingSession::sendAudio(const std::string& chunk) {
  {
    std::lock_guard guard(lock_);
    if (didStop_ || finished_) return;
  }
  post(QByteArray::fromStdString(chunk), /*binary=*/true);
}

void StreamingSession::stop() {
  {
    std::lock_guard guard(lock_);
    if (didStop_) return;
    didStop_ = true;
  }
  post(QByteArray(kStopMessage), /*binary=*/false);
  std::weak_ptr<StreamingSession> weak = weak_from_this();
  worker_.post([weak] {
    if (auto self = weak.lock()) self->startAfterStopDeadline();
  });
}

bool StreamingSession::isFinished() const {
  std::lock_guard guard(lock_);
  return finished_;
}

void StreamingSession::post(QByteArray payload, bool binary) {
  std::weak_ptr<StreamingSession> weak = weak_from_this();
  worker_.post([weak, payload = std::move(payload), binary] {
    auto self = weak.lock();
    if (!self || !self->socket_) return;
    if (!self->connected_) {
      self->unsent_.emplace_back(payload, binary);
    } else if (binary) {
      self->socket_->sendBinaryMessage(payload);
    } else {
      self->socket_->sendTextMessage(QString::fromUtf8(payload));
    }
  });
}

void StreamingSession::onConnected() {
  connected_ = true;
  handshakeTimer_->stop();
  for (auto& [payload, binary] : std::exchange(unsent_, {})) {
    if (binary) {
      socket_->sendBinaryMessage(payload);
    } else {
      socket_->sendTextMessage(QString::fromUtf8(payload));
    }
  }
}

void StreamingSession::onSocketError() { handleClose(closeReason()); }

void StreamingSession::onDisconnected() {
  if (closedForOversize()) return onClosing();
  handleClose(closeReason());
}

void StreamingSession::onClosing() {
  if (!closedForOversize()) return;  // the disconnect that follows reports it
  // Whatever arrived before, the transcript is missing a part.
  complete(StreamingResult::failure(StreamingError::gladiaFailed("the server sent a message larger than " +
                                                                 sizeText(kMaxLiveMessageBytes))));
}

// Qt closes with "too much data" when a message or frame passes the limits
// set in open().
bool StreamingSession::closedForOversize() const {
  return socket_->closeCode() == QWebSocketProtocol::CloseCodeTooMuchData;
}

void StreamingSession::onHandshakeDeadline() {
  if (connected_) return;
  complete(StreamingResult::failure(
      StreamingError::gladiaFailed("state .failed: the server did not accept the connection within " +
                                   durationText(deadlines_.handshake))));
}

void StreamingSession::startAfterStopDeadline() {
  if (afterStopTimer_) afterStopTimer_->start(deadlines_.afterStop);
}

void StreamingSession::onAfterStopDeadline() {
  // Even with some text in hand: the server owes a final answer, and the
  // upload will produce a whole one.
  complete(StreamingResult::failure(StreamingError::gladiaFailed(
      "no answer within " + durationText(deadlines_.afterStop) + " after the end of the audio")));
}

// Qt reports the end of a connection as an error signal, a disconnect, or
// both in either order; whichever comes first names the reason.
std::string StreamingSession::closeReason() const {
  const bool failed = socket_->error() != QAbstractSocket::UnknownSocketError;
  const std::string description = socket_->errorString().toStdString();
  if (!connected_) return "state .failed: " + (failed ? description : std::string("connection closed"));
  if (failed) return "recv error: " + description;
  return "server sent close opcode";
}

void StreamingSession::handleMessage(const QByteArray& payload) {
  if (isFinished()) return;
  const auto effect =
      transcript_.handle(std::string_view(payload.constData(), static_cast<std::size_t>(payload.size())));
  switch (effect.kind) {
    case LiveTranscript::Effect::Kind::rawUpdated: {
      bool arm = false;
      {
        std::lock_guard guard(lock_);
        arm = didStop_ && !finished_ && transcript_.finishesOnRawTimer();
      }
      if (arm) scheduleRawFinish();
      break;
    }
    case LiveTranscript::Effect::Kind::finished:
      complete(*effect.result);
      break;
    case LiveTranscript::Effect::Kind::chunkAdded:
    case LiveTranscript::Effect::Kind::ignored:
      break;
  }
}

void StreamingSession::handleClose(const std::string& reason) {
  std::string text;
  {
    std::lock_guard guard(lock_);
    if (finished_) return;
    text = transcript_.bestText();
  }
  // A connection that drops after some transcript arrived still delivers it.
  complete(text.empty() ? StreamingResult::failure(StreamingError::gladiaFailed(reason))
                        : StreamingResult::success(std::move(text)));
}

void StreamingSession::scheduleRawFinish() { rawFinishTimer_->start(kRawFinishMilliseconds); }

void StreamingSession::onRawFinishTimer() {
  std::string text;
  {
    std::lock_guard guard(lock_);
    if (!didStop_ || finished_ || transcript_.rawText().empty()) return;
    text = transcript_.rawText();
  }
  complete(StreamingResult::success(std::move(text)));
}

void StreamingSession::complete(StreamingResult result) {
  Completion completion;
  {
    std::lock_guard guard(lock_);
    if (finished_) return;
    finished_ = true;
    completion = std::exchange(completion_, nullptr);
  }
  if (rawFinishTimer_) rawFinishTimer_->stop();
  if (handshakeTimer_) handshakeTimer_->stop();
  if (afterStopTimer_) afterStopTimer_->stop();
  // Its disconnect then finds the session finished and does nothing.
  if (socket_) socket_->abort();
  if (completion) completion(std::move(result));
  // Every entry point holds its own reference, so this never ends the
  // session in the middle of a call.
  keepAlive_.reset();
}

}  // namespace pellum
