#include "update/update_checker.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include "base/info_dictionary.h"
#include "transcription/configured_address.h"
#include "transcription/duration_text.h"
#include "update/appcast.h"
#include "update/software_version.h"

namespace pellum {

std::string configuredFeedURL() {
  std::optional<std::string> fromEnvironment;
  if (qEnvironmentVariableIsSet("PELLUM_FEED_URL"))
    fromEnvironment = qEnvironmentVariable("PELLUM_FEED_URL").trimmed().toStdString();
  return pickConfiguredAddress({fromEnvironment, infoString("SUFeedURL")}, "");
}

UpdateChecker::UpdateChecker(QUrl feed, std::string currentVersion, std::chrono::milliseconds deadline)
    : feed_(std::move(feed)),
      currentVersion_(std::move(currentVersion)),
      deadline_(deadline),
      network_(std::make_unique<QNetworkAccessManager>()) {}

UpdateChecker::~UpdateChecker() {
  completion_ = nullptr;
  if (reply_) reply_->abort();
}

void UpdateChecker::check(Completion completion) {
  if (reply_) {
    QNetworkReply* abandoned = reply_;
    reply_ = nullptr;
    abandoned->disconnect(this);
    abandoned->abort();
    abandoned->deleteLater();
  }
  completion_ = std::move(completion);
  const int generation = ++generation_;
  const QString scheme = feed_.scheme().toLower();
  if (!feed_.isValid() || feed_.host().isEmpty() ||
      (scheme != QLatin1String("https") && scheme != QLatin1String("http"))) {
    // Still from the event loop, as every other answer comes.
    QMetaObject::invokeMethod(
        this,
        [this, generation,
         why = "the update feed address is not a web address: " + feed_.toString().toStdString()] {
          if (generation == generation_) finish(UpdateCheckResult::failure(why));
        },
        Qt::QueuedConnection);
    return;
  }
  QNetworkRequest request(feed_);
  request.setTransferTimeout(static_cast<int>(deadline_.count()));
  // Never let a redirect take the check from https to http.
  request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
  request.setHeader(QNetworkRequest::UserAgentHeader,
                    QStringLiteral("Pellum/%1").arg(QString::fromStdString(currentVersion_)));
  QNetworkReply* reply = network_->get(request);
  reply_ = reply;
  connect(reply, &QNetworkReply::downloadProgress, this, [this, reply](qint64 received, qint64) {
    if (reply != reply_ || received <= kMaxFeedBytes) return;
    reply_ = nullptr;
    reply->abort();
    reply->deleteLater();
    finish(UpdateCheckResult::failure("the update feed is larger than a feed can be (over " +
                                      sizeText(static_cast<std::size_t>(kMaxFeedBytes)) + ")"));
  });
  connect(reply, &QNetworkReply::finished, this, [this, reply] {
    reply->deleteLater();
    if (reply != reply_) return;
    reply_ = nullptr;
    finish(resultOf(*reply, reply->readAll()));
  });
}

UpdateCheckResult UpdateChecker::resultOf(QNetworkReply& reply, const QByteArray& body) const {
  if (reply.error() == QNetworkReply::OperationCanceledError) {
    return UpdateCheckResult::failure("the update server did not answer within " + durationText(deadline_));
  }
  const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
  if (status != 0 && (status < 200 || status > 299)) {
    return UpdateCheckResult::failure("the update server answered HTTP " + std::to_string(status));
  }
  if (reply.error() != QNetworkReply::NoError) {
    return UpdateCheckResult::failure("the update server could not be reached: " +
                                      reply.errorString().toStdString());
  }
  AppcastReading reading = readAppcast(body);
  if (!reading.newest) return UpdateCheckResult::failure(reading.error);
  UpdateCheckResult result;
  result.kind = compareVersions(reading.newest->version, currentVersion_) > 0
                    ? UpdateCheckResult::Kind::newerAvailable
                    : UpdateCheckResult::Kind::upToDate;
  result.latest = std::move(*reading.newest);
  return result;
}

void UpdateChecker::finish(UpdateCheckResult result) {
  result.currentVersion = currentVersion_;
  if (auto completion = std::exchange(completion_, nullptr)) completion(std::move(result));
}

}  // namespace pellum
