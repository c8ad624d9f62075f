#pragma once

#include <QObject>
#include <memory>

namespace pellum {

class SingleInstanceChannel;
class StatusBarController;
class SoftwareUpdater;

// Brings the desktop program up: no window, an icon in the tray (the menu
// bar on macOS). At launch it makes sure the microphone may be used
// (launch_checks.h: the system's permission on macOS, a sound server on
// Linux) and quits with an explanation if not; otherwise it creates the one
// StatusBarController, which lives as long as the program.
//
// Main thread.
class AppDelegate : public QObject {
 public:
  AppDelegate();
  ~AppDelegate() override;

  // Returns false when the program should quit (the alert was shown). When
  // the user still has to answer the system's question, the controller is
  // made once they allowed it, or the running program quits with status 1.
  bool applicationDidFinishLaunching();

  StatusBarController* statusBarController() const { return statusBarController_.get(); }

 private:
  void start();
  void refuseToRun();

  bool launching_ = false;
  bool refused_ = false;
  // Only when an update feed is configured; made before the controller,
  // whose menu calls it, and so gone after it.
  std::unique_ptr<SoftwareUpdater> updater_;
  std::unique_ptr<StatusBarController> statusBarController_;
  // Later starts' arguments (the browser's sign-in callback) arrive here.
  std::unique_ptr<SingleInstanceChannel> instanceChannel_;
};

}  // namespace pellum
