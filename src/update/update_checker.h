#pragma once

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "update/update_check_result.h"

namespace pellum {

// The feed address: PELLUM_FEED_URL from the environment, else the one the
// program was built with; empty when neither is set, and then there is no
// update check at all.
std::string configuredFeedURL();

// Reads the update feed once and compares its newest release with
// `currentVersion`. Nothing is downloaded or installed: a newer release is
// reported with its page, for the user to open.
//
// Threads: main thread (the network manager's). The completion runs exactly
// once, on the main thread, unless the checker is destroyed first.
class UpdateChecker : public QObject {
 public:
  static constexpr std::chrono::milliseconds kDeadline{10000};
  // A feed is a few kilobytes; anything near this is not one.
  static constexpr qint64 kMaxFeedBytes = 1 << 20;

  UpdateChecker(QUrl feed, std::string currentVersion, std::chrono::milliseconds deadline = kDeadline);
  ~UpdateChecker() override;

  using Completion = std::function<void(UpdateCheckResult)>;
  // Starts a check; a check already running is abandoned (its completion
  // never runs).
  void check(Completion completion);
  bool isChecking() const { return reply_ != nullptr; }

 private:
  void finish(UpdateCheckResult result);
  UpdateCheckResult resultOf(QNetworkReply& reply, const QByteArray& body) const;

  QUrl feed_;
  std::string currentVersion_;
  std::chrono::milliseconds deadline_;
  std::unique_ptr<QNetworkAccessManager> network_;
  QPointer<QNetworkReply> reply_;
  Completion completion_;
  int generation_ = 0;  // which check a queued answer belongs to
};

}  // namespace pellum
