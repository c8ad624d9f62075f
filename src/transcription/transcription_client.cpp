#include "transcription/transcription_client.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>
#include <QTimer>
#include <QUrl>
#include <QUuid>

#include "transcription/duration_text.h"
#include "transcription/live_url.h"
#include "transcription/multipart_body.h"
#include "transcription/url_text.h"

namespace pellum {
namespace {

QUrl parsedUrl(const std::string& text) {
  if (!urlTextParses(text)) return {};
  QUrl url(QString::fromStdString(text), QUrl::StrictMode);
  return url.isValid() ? url : QUrl();
}

// A failed request whose server did answer with a status is not a transport
// failure: its body is the event stream that says what went wrong.
bool isTransportFailure(const QNetworkReply& reply) {
  if (reply.error() == QNetworkReply::NoError) return false;
  const bool answered = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
  return !answered || reply.error() < QNetworkReply::ProxyConnectionRefusedError;
}

TransportError transportError(const QNetworkReply& reply) {
  // Every abort of ours comes after the upload's result (a 401, a redirect,
  // the reply deadline, an overflow), so a cancellation here is the idle
  // time-out.
  if (reply.error() == QNetworkReply::OperationCanceledError ||
      reply.error() == QNetworkReply::TimeoutError) {
    return {TransportError::Kind::timedOut, "The request timed out."};
  }
  return {TransportError::Kind::other, reply.errorString().toStdString()};
}

// One upload in flight: the reply's signals drive an UploadReply and the
// single completion. Lives on the upload thread and deletes itself with the
// reply.
class UploadTask : public QObject {
 public:
  UploadTask(QNetworkReply* reply, std::chrono::milliseconds replyDeadline,
             TranscriptionClient::UploadCompletion completion, std::function<void()> onEnded)
      : QObject(reply),
        reply_(reply),
        replyDeadline_(replyDeadline),
        completion_(std::move(completion)),
        onEnded_(std::move(onEnded)) {
    deadline_.setSingleShot(true);
    connect(&deadline_, &QTimer::timeout, this, &UploadTask::onDeadline);
    connect(reply, &QNetworkReply::uploadProgress, this, [this](qint64 sent, qint64 total) {
      if (sent == total) startDeadline();
    });
    connect(reply, &QNetworkReply::metaDataChanged, this, &UploadTask::onResponse);
    connect(reply, &QNetworkReply::readyRead, this, &UploadTask::onData);
    connect(reply, &QNetworkReply::finished, this, &UploadTask::onFinished);
  }

 private:
  // The recording is out (or the server answered before reading it all).
  void startDeadline() {
    if (!deadline_.isActive()) deadline_.start(replyDeadline_);
  }

  void onDeadline() {
    finish(UploadResult::failure(
        TransportError{TransportError::Kind::timedOut,
                       "The server did not finish its answer within " + durationText(replyDeadline_) + "."}));
    reply_->abort();
  }

  void onResponse() {
    startDeadline();
    const int status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status == 401) {
      finish(UploadResult::failure(TranscriptionError::unauthorized()));
    } else if (isRedirect(status)) {
      const QByteArray target = reply_->rawHeader("Location");
      finish(UploadResult::failure(TranscriptionError::serverError(
          "the server redirected the upload to " +
          (target.isEmpty() ? std::string("nowhere") : target.toStdString()) + "; not followed")));
    } else {
      return;
    }
    // Cancel once this signal has returned: Qt may be about to finish the
    // reply with its own authentication error, and must not do so twice.
    postTo(reply_, [reply = reply_] { reply->abort(); });
  }

  static bool isRedirect(int status) { return status >= 300 && status < 400; }

  bool bodyIsIgnored() const {
    const int status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return status == 401 || isRedirect(status);
  }

  void onData() {
    if (bodyIsIgnored() || reply_state_.overflowed()) {
      reply_->skip(reply_->bytesAvailable());
      return;
    }
    const QByteArray bytes = reply_->readAll();
    if (auto result =
            reply_state_.feed(std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())))) {
      deliver(std::move(*result));
    }
    if (reply_state_.overflowed()) postTo(reply_, [reply = reply_] { reply->abort(); });
  }

  void onFinished() {
    if (reply_->bytesAvailable() > 0) onData();
    if (isTransportFailure(*reply_)) finish(UploadResult::failure(transportError(*reply_)));
    if (onEnded_) onEnded_();
    reply_->deleteLater();
  }

  void finish(UploadResult result) {
    if (reply_state_.markCompleted()) deliver(std::move(result));
  }

  void deliver(UploadResult result) {
    if (auto completion = std::exchange(completion_, nullptr)) completion(std::move(result));
  }

  QNetworkReply* reply_;
  std::chrono::milliseconds replyDeadline_;
  QTimer deadline_;
  UploadReply reply_state_;
  TranscriptionClient::UploadCompletion completion_;
  std::function<void()> onEnded_;
};

}  // namespace

TranscriptionClient::TranscriptionClient(std::string serverURL, TokenSource token, LanguageSource language)
    : serverURL_(std::move(serverURL)), token_(std::move(token)), language_(std::move(language)) {}

// The upload worker's context takes the access manager and any reply in
// flight with it.
TranscriptionClient::~TranscriptionClient() = default;

std::shared_ptr<StreamingSession> TranscriptionClient::startStreaming(
    TranscriptionMode mode, const std::string& language, const std::optional<std::string>& translateTo,
    double sampleRate, StreamingSession::Completion completion) {
  const std::optional<std::string> token = token_ ? token_() : std::nullopt;
  if (!token) {
    completion(StreamingResult::failure(StreamingError::notSignedIn()));
    return nullptr;
  }
  const QUrl url = parsedUrl(liveStreamURL(serverURL_, mode, language, translateTo, sampleRate));
  if (url.isEmpty()) {
    completion(StreamingResult::failure(StreamingError::invalidURL()));
    return nullptr;
  }
  const bool translating = translateTo && !translateTo->empty();
  return StreamingSession::start(url, *token, mode, translating, liveDeadlines_, std::move(completion));
}

void TranscriptionClient::transcribe(std::string audio, std::string contentType, TranscriptionMode mode,
                                     UploadCompletion completion, std::function<void()> onEnded) {
  const QUrl url = parsedUrl(serverURL_ + "/transcribe");
  if (url.isEmpty()) {
    completion(UploadResult::failure(TranscriptionError::invalidURL()));
    if (onEnded) onEnded();
    return;
  }
  const std::optional<std::string> token = token_ ? token_() : std::nullopt;
  if (!token) {
    completion(UploadResult::failure(TranscriptionError::notSignedIn()));
    if (onEnded) onEnded();
    return;
  }
  const std::string boundary = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper().toStdString();
  const std::string language = language_ ? language_() : std::string("en");
  QByteArray body =
      QByteArray::fromStdString(buildMultipartBody(boundary, mode, language, contentType, audio));

  QNetworkRequest request(url);
  request.setTransferTimeout(static_cast<int>(uploadIdleTimeout_.count()));
  request.setHeader(QNetworkRequest::ContentTypeHeader,
                    QByteArray::fromStdString(multipartContentType(boundary)));
  request.setRawHeader("Authorization", QByteArray("Bearer ") + QByteArray::fromStdString(*token));
  // Qt follows redirects by default and sends our Authorization header (and,
  // on 307/308, the whole recording) along to whatever host the reply names.
  // The upload route never redirects, so a redirect is an error, not a hint.
  request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);

  QObject* context = uploadWorker_.context();
  uploadWorker_.post([context, request, body = std::move(body), deadline = uploadReplyDeadline_,
                      completion = std::move(completion), onEnded = std::move(onEnded)]() mutable {
    auto* manager = context->findChild<QNetworkAccessManager*>();
    if (!manager) manager = new QNetworkAccessManager(context);
    QNetworkReply* reply = manager->post(request, body);
    new UploadTask(reply, deadline, std::move(completion), std::move(onEnded));
  });
}

}  // namespace pellum
