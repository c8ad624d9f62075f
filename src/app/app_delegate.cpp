#include "app/app_delegate.h"

#include <QApplication>
#include <QMessageBox>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "account/auth_service.h"
#include "account/single_instance_channel.h"
#include "account/token_source.h"
#include "app/status_bar_controller.h"
#include "app/tray_status_icon.h"
#include "app/update_prompt.h"
#include "audio/audio_recorder.h"
#include "audio/feedback_sounds.h"
#include "audio/input_device_catalogue.h"
#include "audio/pulse_sources.h"
#include "base/log_line.h"
#include "history/dictation_history.h"
#include "history/history_path.h"
#include "keyboard/hotkey_manager.h"
#include "keyboard/text_inserter.h"
#include "pellum/build_config.h"
#include "settings/preferences.h"
#include "transcription/server_url.h"
#include "ui/dictation_overlay_factory.h"

namespace pellum {
namespace {

// The sound settings the desktop has, first found wins.
void openSoundSettings() {
  const QList<QStringList> candidates{{QStringLiteral("pavucontrol")},
                                      {QStringLiteral("gnome-control-center"), QStringLiteral("sound")},
                                      {QStringLiteral("systemsettings"), QStringLiteral("kcm_pulseaudio")}};
  for (const QStringList& command : candidates) {
    if (QStandardPaths::findExecutable(command.first()).isEmpty()) continue;
    QProcess::startDetached(command.first(), command.mid(1));
    return;
  }
}

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
AppDelegate::AppDelegate() {
  if (const std::string feed = configuredFeedURL(); !feed.empty())
    updatePrompt_ = std::make_unique<UpdatePrompt>(feed, std::string(build_config::version));
}
AppDelegate::~AppDelegate() = default;

bool AppDelegate::applicationDidFinishLaunching() {
  QApplication::setQuitOnLastWindowClosed(false);
  if (!PulseSources::serverReachable()) {
    showSoundServerAlert();
    return false;
  }

  auto hotkeyManager = HotkeyManager::create();
  hotkeyManager->chooseKey(Preferences::dictationKey().value_or(std::string()));
  const bool keyWatched = hotkeyManager->start();

  auto tray = std::make_unique<TrayStatusIcon>();
  if (!TrayStatusIcon::isAvailable())
    logLine("Pellum: the desktop has no tray; the dictation key works all the same");

  DictationParts parts;
  parts.statusIcon = std::move(tray);
  parts.audioRecorder = std::make_unique<AudioRecorder>(makePulseCaptureSource(), [] {
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
  if (updatePrompt_) parts.checkForUpdates = [prompt = updatePrompt_.get()] { prompt->checkForUpdates(); };
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
  return true;
}

void AppDelegate::showSoundServerAlert() {
  QMessageBox alert;
  alert.setWindowTitle(QStringLiteral("Pellum"));
  alert.setIcon(QMessageBox::Warning);
  alert.setText(QStringLiteral("Microphone Access Required"));
  alert.setInformativeText(QStringLiteral(
      "Pellum needs a sound server to use the microphone. Start PulseAudio or PipeWire (with its PulseAudio "
      "service), check your microphone in the sound settings, and open Pellum again."));
  QPushButton* settings = alert.addButton(QStringLiteral("Open Settings"), QMessageBox::AcceptRole);
  alert.addButton(QStringLiteral("Quit"), QMessageBox::RejectRole);
  alert.setDefaultButton(settings);
  logLine("Pellum: no sound server is reachable; quitting");
  alert.exec();
  if (alert.clickedButton() == settings) openSoundSettings();
}

}  // namespace pellum
