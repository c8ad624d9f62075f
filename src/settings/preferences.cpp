#include "settings/preferences.h"

#include <QSettings>
#include <QStringList>

#include "base/threads.h"
#include "settings/preference_rules.h"
#include "transcription/keyboard_languages.h"
#include "transcription/language_value.h"

namespace pellum {
namespace {

namespace rules = preference_rules;

QSettings store() {
  return QSettings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("pellum"),
                   QStringLiteral("pellum"));
}

QString key(std::string_view name) {
  return QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
}

std::optional<std::string> readString(std::string_view name) {
  const QVariant value = store().value(key(name));
  if (!value.isValid() || value.isNull()) return std::nullopt;
  // A list where a string belongs is unreadable, and reads as absent.
  if (value.typeId() == QMetaType::QStringList) return std::nullopt;
  return value.toString().toStdString();
}

void writeString(std::string_view name, std::string_view value) { store().setValue(key(name), key(value)); }

// A non-empty value is written; nothing or an empty one removes the key.
void writeOrRemove(std::string_view name, const std::optional<std::string>& value) {
  if (value && !value->empty()) {
    writeString(name, *value);
  } else {
    store().remove(key(name));
  }
}

}  // namespace

TranscriptionMode Preferences::currentMode() { return rules::mode(readString(rules::kTranscriptionMode)); }

void Preferences::setMode(TranscriptionMode mode) { writeString(rules::kTranscriptionMode, rawValue(mode)); }

bool Preferences::soundsOff() { return rules::soundsOff(readString(rules::kSoundsMode)); }

void Preferences::setSoundsOff(bool off) {
  writeString(rules::kSoundsMode, off ? rules::kSoundsOff : rules::kSoundsOn);
}

bool Preferences::isCodeSwitching() { return rules::isCodeSwitching(readString(rules::kLanguageMode)); }

void Preferences::setCodeSwitching(bool codeSwitching) {
  writeString(rules::kLanguageMode,
              codeSwitching ? rules::kLanguageModeCodeSwitching : rules::kLanguageModeKeyboard);
}

std::optional<std::string> Preferences::storedLanguageMode() { return readString(rules::kLanguageMode); }

std::optional<std::vector<std::string>> Preferences::storedCodeSwitchingLanguages() {
  const QVariant value = store().value(key(rules::kCodeSwitchingLanguages));
  if (!value.isValid() || value.isNull()) return std::nullopt;
  // The settings file writes an empty list as an empty string, which reads
  // back as one empty code: codes are never empty, so drop such entries.
  std::vector<std::string> codes;
  for (const QString& code : value.toStringList()) {
    if (!code.isEmpty()) codes.push_back(code.toStdString());
  }
  return rules::storedCodeSwitchingLanguages(codes);
}

std::vector<std::string> Preferences::codeSwitchingLanguages() {
  if (auto stored = storedCodeSwitchingLanguages()) return *stored;
  return runOnMainThread([] { return keyboardInputLanguages(); });
}

void Preferences::setCodeSwitchingLanguages(const std::vector<std::string>& codes) {
  QStringList list;
  for (const auto& code : codes) list << QString::fromStdString(code);
  store().setValue(key(rules::kCodeSwitchingLanguages), list);
}

std::optional<std::string> Preferences::translationTarget() {
  return rules::translationTarget(readString(rules::kTranslateTo));
}

void Preferences::setTranslationTarget(const std::optional<std::string>& code) {
  writeOrRemove(rules::kTranslateTo, code);
}

std::optional<std::string> Preferences::selectedInputDeviceUID() {
  return rules::selectedInputDeviceUID(readString(rules::kAudioInputDeviceUID));
}

void Preferences::setSelectedInputDeviceUID(const std::optional<std::string>& uid) {
  writeString(rules::kAudioInputDeviceUID, uid ? std::string_view(*uid) : rules::kAutomaticDevice);
}

std::optional<std::string> Preferences::dictationKey() {
  return rules::dictationKey(readString(rules::kDictationKey));
}

void Preferences::setDictationKey(const std::optional<std::string>& keysymName) {
  writeOrRemove(rules::kDictationKey, keysymName);
}

bool Preferences::holdOrTap() { return rules::holdOrTap(readString(rules::kDictationKeyMode)); }

void Preferences::setHoldOrTap(bool holdOrTap) {
  writeString(rules::kDictationKeyMode, holdOrTap ? rules::kDictationKeyHoldOrTap : rules::kDictationKeyHold);
}

bool Preferences::keepHistory() { return rules::keepHistory(readString(rules::kKeepHistory)); }

void Preferences::setKeepHistory(bool keep) {
  writeString(rules::kKeepHistory, keep ? rules::kOn : rules::kOff);
}

bool Preferences::keepRecordings() { return rules::keepRecordings(readString(rules::kKeepRecordings)); }

void Preferences::setKeepRecordings(bool keep) {
  writeString(rules::kKeepRecordings, keep ? rules::kOn : rules::kOff);
}

std::string requestLanguage() {
  LanguageInputs inputs;
  inputs.languageMode = Preferences::storedLanguageMode();
  inputs.codeSwitchingLanguages = Preferences::storedCodeSwitchingLanguages();
  inputs.keyboardInputLanguages = [] { return runOnMainThread([] { return keyboardInputLanguages(); }); };
  inputs.currentKeyboardLanguage = [] { return runOnMainThread([] { return currentKeyboardLanguage(); }); };
  return requestLanguageValue(inputs);
}

}  // namespace pellum
