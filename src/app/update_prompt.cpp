#include "app/update_prompt.h"

#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>

#include "base/log_line.h"

namespace pellum {

UpdatePrompt::UpdatePrompt(const std::string& feedURL, const std::string& currentVersion)
    : checker_(QUrl(QString::fromStdString(feedURL)), currentVersion) {}

UpdatePrompt::~UpdatePrompt() {
  if (window_) window_->deleteLater();
}

void UpdatePrompt::checkForUpdates() {
  if (window_) {
    window_->raise();
    window_->activateWindow();
    return;
  }
  if (checker_.isChecking()) return;
  logLine("Pellum: checking for updates");
  checker_.check([this](UpdateCheckResult result) {
    logLine(updateLogLine(result));
    show(result);
  });
}

void UpdatePrompt::show(const UpdateCheckResult& result) {
  const UpdateMessage message = updateMessageFor(result);
  auto* box = new QMessageBox(
      result.kind == UpdateCheckResult::Kind::failed ? QMessageBox::Warning : QMessageBox::Information,
      QStringLiteral("Pellum"), QString::fromStdString(message.title));
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setInformativeText(QString::fromStdString(message.text));
  if (message.offersDownload) {
    QPushButton* download = box->addButton(QStringLiteral("Download\u2026"), QMessageBox::AcceptRole);
    box->addButton(QStringLiteral("Later"), QMessageBox::RejectRole);
    box->setDefaultButton(download);
    const QUrl page(QString::fromStdString(result.latest.downloadPage));
    QObject::connect(download, &QPushButton::clicked, box, [page] { QDesktopServices::openUrl(page); });
  } else {
    box->addButton(QMessageBox::Ok);
  }
  window_ = box;
  box->show();
}

}  // namespace pellum
