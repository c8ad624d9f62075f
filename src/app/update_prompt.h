#pragma once

#include <QPointer>
#include <memory>
#include <string>

#include "app/software_updater.h"
#include "update/update_checker.h"

class QMessageBox;

namespace pellum {

// "Check for Updates…": reads the feed and tells the user what it found in
// a window of its own (up to date; a newer version with a "Download…" button
// that opens its page; or why the check failed). One check and one window at
// a time: asking again while one is open brings it forward.
//
// Threads: main thread.
class UpdatePrompt : public SoftwareUpdater {
 public:
  UpdatePrompt(const std::string& feedURL, const std::string& currentVersion);
  ~UpdatePrompt() override;

  void checkForUpdates() override;

 private:
  void show(const UpdateCheckResult& result);

  UpdateChecker checker_;
  QPointer<QMessageBox> window_;
};

}  // namespace pellum
