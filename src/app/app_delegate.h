#pragma once

#include <QObject>
#include <memory>

namespace pellum {

class SingleInstanceChannel;
class StatusBarController;
class UpdatePrompt;

// Brings the desktop program up: no window, an icon in the tray. At launch
// it makes sure a sound server is there to record from (there is no
// microphone permission to ask for on Linux; without a sound server there
// is no microphone) and quits with an explanation if not; otherwise it
// creates the one StatusBarController, which lives as long as the program.
//
// Main thread.
class AppDelegate : public QObject {
 public:
  AppDelegate();
  ~AppDelegate() override;

  // Returns false when the program should quit (the alert was shown).
  bool applicationDidFinishLaunching();

  StatusBarController* statusBarController() const { return statusBarController_.get(); }

 private:
  void showSoundServerAlert();

  // Only when an update feed is configured; made before the controller,
  // whose menu calls it, and so gone after it.
  std::unique_ptr<UpdatePrompt> updatePrompt_;
  std::unique_ptr<StatusBarController> statusBarController_;
  // Later starts' arguments (the browser's sign-in callback) arrive here.
  std::unique_ptr<SingleInstanceChannel> instanceChannel_;
};

}  // namespace pellum
