#include "app/app_delegate.h"

#include <QApplication>
#include <QPointer>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "account/auth_service.h"
#include "account/single_instance_channel.h"
#include "account/token_source.h"
#include "app/launch_checks.h"
#include "app/software_updater.h"
#include "app/status_bar_controller.h"
#include "app/tray_status_icon.h"
#include "audio/audio_recorder.h"
#include "audio/feedback_sounds.h"
#include "audio/input_device_catalogue.h"
#include "base/log_line.h"
#include "history/dictation_history.h"
#include "history/history_path.h"
#include "keyboard/hotkey_manager.h"
#include "keyboard/text_inserter.h"
#include "settings/preferences.h"
#include "transcription/server_url.h"
#include "ui/dictation_overlay_factory.h"

namespace pellum {
namespace {

// The recent dictations' store; without a readable one the program runs on
// and says once why nothing is kept.
std::shared_ptr<DictationHistory> openHistory() {
  auto opened = DictationHistory::open(defaultHistoryPath(),
                                       HistoryLimits{.keepRecordings = Preferences::keepRecordings()});
  if (const auto* error = std::get_if<HistoryError>(&opened)) {
    logLine("Pellum: recent dictations are not kept (" + error->description + ")");
    return nullptr;
  }
  std::shared_ptr<DictationHistory> history = std::move(std::get<std::unique_ptr<DictationHistory>>(opened));
  if (const auto& aside = history->movedAside())
    logLine("Pellum: the recent dictations' file was unreadable and moved to " + *aside);
  return history;
}

// Keeps each dictation in `history`.
std::function<void(const DictationEntry&)> recorderInto(std::shared_ptr<DictationHistory> history) {
  if (!history) return {};
  return [history](const DictationEntry& entry) {
    const auto added = history->add(entry);
    if (const auto* error = std::get_if<HistoryError>(&added))
      logLine("Pellum: the dictation could not be kept (" + error->description + ")");
  };
}

}  // namespace

// The updater exists from the start when a feed is configured, as the
// program's configuration says, whatever happens at launch after.
AppDelegate::AppDelegate() : updater_(SoftwareUpdater::createIfConfigured()) {}
AppDelegate::~AppDelegate() = default;

bool AppDelegate::applicationDidFinishLaunching() {
  QApplication::setQuitOnLastWindowClosed(false);
  becomeAccessoryApplication();
  launching_ = true;
  requestMicrophoneAccess([this](bool granted) {
    if (granted) return start();
    refuseToRun();
  });
  launching_ = false;
  return !refused_;
}

// There is no way on without the microphone.
void AppDelegate::refuseToRun() {
  refused_ = true;
  showMicrophoneAccessAlert();
  // An answer given during launch is returned from it; one that came later
  // (the user answered the system's question) ends the running program.
  if (!launching_) QCoreApplication::exit(1);
}

void AppDelegate::start() {
  auto hotkeyManager = HotkeyManager::create();
  hotkeyManager->chooseKey(Preferences::dictationKey().value_or(std::string()));
  const bool keyWatched = hotkeyManager->start();

  auto tray = std::make_unique<TrayStatusIcon>();
  if (!TrayStatusIcon::isAvailable())
    logLine("Pellum: the desktop has no tray; the dictation key works all the same");

  DictationParts parts;
  parts.statusIcon = std::move(tray);
  parts.audioRecorder = std::make_unique<AudioRecorder>(makeSystemCaptureSource(), [] {
    return InputDeviceCatalogue::resolveInputDevice(Preferences::selectedInputDeviceUID());
  });
  parts.transcriptionClient = std::make_unique<TranscriptionClient>(resolveServerURL(), signedInToken,
                                                                    [] { return requestLanguage(); });
  parts.textInserter = TextInserter::create();
  parts.notchOverlay = makeDictationOverlay();
  parts.onboardingPopover = std::make_unique<OnboardingPopover>();
  parts.sounds = FeedbackSounds::create();
  parts.hotkeyManager = std::move(hotkeyManager);
  parts.isSignedIn = [] { return signedInToken().has_value(); };
  AuthService& auth = AuthService::shared();
  parts.signIn = [&auth] { auth.signIn(); };
  parts.signOut = [&auth] { auth.signOut(); };
  parts.webBaseURL = [&auth] { return auth.webBaseURL(); };
  parts.history = openHistory();
  parts.recordDictation = recorderInto(parts.history);
  if (updater_) parts.checkForUpdates = [updater = updater_.get()] { updater->checkForUpdates(); };
  statusBarController_ = std::make_unique<StatusBarController>(std::move(parts));
  auth.onSignInChange = [controller = QPointer<StatusBarController>(statusBarController_.get())] {
    if (controller) controller->handleSignInChange();
  };

  // `pellum dictate ...` drives the dictation key; the sign-in service
  // ignores anything that is not its callback.
  instanceChannel_ = std::make_unique<SingleInstanceChannel>();
  instanceChannel_->onArguments = [&auth, controller = QPointer<StatusBarController>(
                                              statusBarController_.get())](const QStringList& arguments) {
    std::vector<std::string> words;
    for (const QString& argument : arguments) words.push_back(argument.toStdString());
    if (const auto command = dictationCommandFrom(words)) {
      if (controller) controller->hotkeyManager().handleCommand(*command);
      return;
    }
    for (const std::string& word : words) auth.handleCallback(word);
  };
  if (!instanceChannel_->listen()) {
    logLine("Pellum: cannot listen on " + instanceChannel_->socketPath().toStdString() +
            "; sign-in callbacks will not arrive");
  }
  // Said once everything is in place, so a script can start dictating.
  if (keyWatched) {
    logLine("HotkeyManager: hold " + statusBarController_->hotkeyManager().key()->displayName +
            " to dictate");
  }
}

}  // namespace pellum
