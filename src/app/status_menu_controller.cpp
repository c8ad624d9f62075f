#include "app/status_menu_controller.h"

#include <QApplication>
#include <QClipboard>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QPointer>
#include <QUrl>

#include "app/login_item.h"
#include "audio/input_device_catalogue.h"
#include "base/log_line.h"
#include "base/threads.h"
#include "settings/preferences.h"
#include "transcription/keyboard_languages.h"

namespace pellum {

StatusMenuController::StatusMenuController(StatusMenuParts parts) : parts_(std::move(parts)) {
  if (!parts_.languagePicker) parts_.languagePicker = std::make_unique<LanguagePickerPopover>();
}

std::string StatusMenuController::keyLine() const {
  if (!parts_.hotkeyManager) return "The dictation key is not available";
  if (auto key = parts_.hotkeyManager->key()) {
    return (Preferences::holdOrTap() ? "Hold or tap " : "Hold ") + key->displayName + " to dictate";
  }
  const std::string reason = parts_.hotkeyManager->unavailableReason();
  return reason.empty() ? "The dictation key is not available" : reason;
}

void StatusMenuController::buildMenu() {
  Q_ASSERT(isMainThread());
  if (!parts_.statusIcon) return;
  StatusMenuInputs in;
  in.signedIn = parts_.isSignedIn && parts_.isSignedIn();
  in.keyLine = keyLine();
  if (parts_.pasteLimit) in.pasteLine = parts_.pasteLimit();
  in.mode = Preferences::currentMode();
  in.soundsOff = Preferences::soundsOff();
  in.codeSwitching = Preferences::isCodeSwitching();
  in.keyboardLanguages = keyboardInputLanguages();
  in.storedCodeSwitching = Preferences::storedCodeSwitchingLanguages();
  in.translateTo = Preferences::translationTarget();
  if (in.signedIn) {
    in.devices = InputDeviceCatalogue::listInputDevices();
    in.storedDeviceUID = Preferences::selectedInputDeviceUID();
    in.automaticDevice = InputDeviceCatalogue::automaticInputDevice(in.devices);
  }
  if (parts_.hotkeyManager) {
    in.dictationKeys = parts_.hotkeyManager->availableKeys();
    in.dictationKey = parts_.hotkeyManager->key();
  }
  in.dictationKeyForced = !qEnvironmentVariable("PELLUM_DICTATION_KEY").isEmpty();
  in.holdOrTap = Preferences::holdOrTap();
  in.hasUpdater = static_cast<bool>(parts_.checkForUpdates);
  in.startAtLogin = LoginItem::isEnabled();
  if (parts_.history) in.history = historyRows();
  QPointer<StatusMenuController> weak(this);
  parts_.statusIcon->setMenu(buildStatusMenu(in), [weak](MenuAction action, const std::string& object) {
    // Queued: the menu that called us is replaced by the rebuild.
    postToMainThread(weak, [action, object](StatusMenuController& controller) {
      controller.performMenuAction(action, object);
    });
  });
}

void StatusMenuController::performMenuAction(MenuAction action, const std::string& object) {
  Q_ASSERT(isMainThread());
  QPointer<StatusMenuController> weak(this);
  switch (action) {
    case MenuAction::selectRawMode:
      Preferences::setMode(TranscriptionMode::raw);
      break;
    case MenuAction::selectCleanMode:
      Preferences::setMode(TranscriptionMode::clean);
      break;
    case MenuAction::selectSoundsOn:
      Preferences::setSoundsOff(false);
      break;
    case MenuAction::selectSoundsOff:
      Preferences::setSoundsOff(true);
      break;
    case MenuAction::selectAutoMicrophone:
      Preferences::setSelectedInputDeviceUID(std::nullopt);
      break;
    case MenuAction::selectMicrophone:
      Preferences::setSelectedInputDeviceUID(object);
      break;
    case MenuAction::selectKeyboardLanguage:
      Preferences::setCodeSwitching(false);
      break;
    case MenuAction::selectCodeSwitchingMode:
      Preferences::setCodeSwitching(true);
      break;
    case MenuAction::selectNoTranslation:
      Preferences::setTranslationTarget(std::nullopt);
      break;
    case MenuAction::selectCurrentTranslationTarget:
      return;
    case MenuAction::openTranslationPicker:
      parts_.languagePicker->showSingleSelect(parts_.statusIcon->anchor(), Preferences::translationTarget(),
                                              [weak](const std::string& code) {
                                                Preferences::setTranslationTarget(code);
                                                if (weak) weak->buildMenu();
                                              });
      return;
    case MenuAction::openLanguagePicker:
      parts_.languagePicker->showMultiSelect(parts_.statusIcon->anchor(),
                                             Preferences::codeSwitchingLanguages(),
                                             [weak](const std::vector<std::string>& codes) {
                                               Preferences::setCodeSwitchingLanguages(codes);
                                               if (weak) weak->buildMenu();
                                             });
      Preferences::setCodeSwitching(true);
      break;
    case MenuAction::toggleCodeSwitchingLanguage:
      return toggleCodeSwitchingLanguage(object);
    case MenuAction::resetCodeSwitchingLanguages:
      Preferences::setCodeSwitchingLanguages(keyboardInputLanguages());
      Preferences::setCodeSwitching(true);
      break;
    case MenuAction::signIn:
      if (parts_.signIn) parts_.signIn();
      return;  // the menu follows the sign-in state when it changes
    case MenuAction::signOut:
      if (parts_.signOut) parts_.signOut();
      return;
    case MenuAction::openHome:
      if (parts_.webBaseURL) QDesktopServices::openUrl(QUrl(QString::fromStdString(parts_.webBaseURL())));
      return;
    case MenuAction::selectDictationKey:
      return chooseDictationKey(object);
    case MenuAction::openDictationKeyCapture:
      if (!parts_.hotkeyManager) return;
      tell("Press the key you want to hold to dictate (Escape keeps the current one)");
      parts_.hotkeyManager->captureNextKey([weak](std::optional<std::string> keysymName) {
        if (!weak) return;
        if (keysymName) return weak->chooseDictationKey(*keysymName);
        logLine("Pellum: the dictation key stays as it was");
      });
      return;
    case MenuAction::toggleHoldOrTap:
      Preferences::setHoldOrTap(!Preferences::holdOrTap());
      break;
    case MenuAction::pasteLastTranscript: {
      const auto rows = parts_.history ? historyRows() : RecentDictationRows{};
      if (!rows.texts.empty() && parts_.pasteText) parts_.pasteText(rows.texts.front().text);
      return;
    }
    case MenuAction::retryLastRecording: {
      const auto rows = parts_.history ? historyRows() : RecentDictationRows{};
      if (rows.retryableId && parts_.retryRecording) parts_.retryRecording(std::stoll(*rows.retryableId));
      return;
    }
    case MenuAction::copyRecentDictation:
      return copyDictation(object);
    case MenuAction::clearHistory:
      if (!parts_.history) return;
      if (const auto error = parts_.history->clear())
        return tell("The history could not be cleared: " + error->description);
      logLine("Pellum: the recent dictations were cleared");
      break;
    case MenuAction::toggleKeepHistory:
      Preferences::setKeepHistory(!Preferences::keepHistory());
      break;
    case MenuAction::toggleKeepRecordings:
      Preferences::setKeepRecordings(!Preferences::keepRecordings());
      if (parts_.history) parts_.history->setKeepRecordings(Preferences::keepRecordings());
      break;
    case MenuAction::quit:
      QCoreApplication::quit();
      return;
    case MenuAction::toggleStartAtLogin:
      return toggleStartAtLogin();
    case MenuAction::checkForUpdates:
      if (parts_.checkForUpdates) parts_.checkForUpdates();
      return;
    case MenuAction::none:
      return;
  }
  buildMenu();
}

void StatusMenuController::chooseDictationKey(const std::string& keysymName) {
  if (!parts_.hotkeyManager) return;
  const auto before = parts_.hotkeyManager->key();
  if (auto error = parts_.hotkeyManager->chooseKey(keysymName)) {
    tell(error->description() +
         (before ? "; " + before->displayName + " stays the dictation key" : std::string()));
    return;
  }
  Preferences::setDictationKey(keysymName);
  if (const auto key = parts_.hotkeyManager->key())
    logLine("HotkeyManager: hold " + key->displayName + " to dictate");
  buildMenu();
}

void StatusMenuController::toggleCodeSwitchingLanguage(const std::string& code) {
  const auto list = pellum::toggleCodeSwitchingLanguage(Preferences::codeSwitchingLanguages(), code);
  if (!list) {
    // The last language cannot be removed. (No beep without a GUI.)
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) QApplication::beep();
    return;
  }
  Preferences::setCodeSwitchingLanguages(*list);
  Preferences::setCodeSwitching(true);
  buildMenu();
}

RecentDictationRows StatusMenuController::historyRows() const {
  RecentDictationRows rows;
  rows.keepHistory = Preferences::keepHistory();
  rows.keepRecordings = Preferences::keepRecordings();
  const auto recent = parts_.history->recent(30);
  // The newest failed dictation whose recording waits, even when later ones
  // succeeded: a dictation that works again is how the user learns the
  // server is back.
  for (const auto& entry : recent) {
    if (entry.outcome != DictationOutcome::failed || !entry.hasRecording) continue;
    rows.retryableId = std::to_string(entry.id);
    break;
  }
  for (const auto& entry : recent) {
    if (entry.text.empty()) continue;
    rows.texts.push_back({std::to_string(entry.id), entry.text});
    if (rows.texts.size() == 10) break;
  }
  return rows;
}

void StatusMenuController::copyDictation(const std::string& idText) {
  const auto entry = parts_.history ? parts_.history->find(std::stoll(idText)) : std::nullopt;
  auto* gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
  if (!entry || entry->text.empty() || !gui) return;
  QGuiApplication::clipboard()->setText(QString::fromStdString(entry->text));
  logLine("Pellum: dictation " + idText + " copied");
}

void StatusMenuController::toggleStartAtLogin() {
  const bool enable = !LoginItem::isEnabled();
  const std::string error =
      LoginItem::setEnabled(enable, QCoreApplication::applicationFilePath().toStdString());
  if (!error.empty()) return tell("Start at Login could not be changed: " + error);
  logLine(enable ? "Pellum: starts at login (" + LoginItem::entryPath() + ")"
                 : "Pellum: no longer starts at login");
  buildMenu();
}

void StatusMenuController::tell(const std::string& message) const {
  if (parts_.tell) parts_.tell(message);
}

}  // namespace pellum
