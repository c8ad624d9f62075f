#include "settings/preference_rules.h"

namespace pellum::preference_rules {

TranscriptionMode mode(const std::optional<std::string>& stored) {
  if (!stored) return TranscriptionMode::clean;
  return transcriptionModeFromRawValue(*stored).value_or(TranscriptionMode::clean);
}

bool soundsOff(const std::optional<std::string>& stored) { return stored == kSoundsOff; }

bool isCodeSwitching(const std::optional<std::string>& stored) {
  return stored == kLanguageModeCodeSwitching;
}

std::optional<std::string> translationTarget(const std::optional<std::string>& stored) {
  if (!stored || stored->empty()) return std::nullopt;
  return stored;
}

std::optional<std::string> selectedInputDeviceUID(const std::optional<std::string>& stored) {
  if (!stored || *stored == kAutomaticDevice) return std::nullopt;
  return stored;
}

std::optional<std::string> dictationKey(const std::optional<std::string>& stored) {
  if (!stored || stored->empty()) return std::nullopt;
  return stored;
}

bool holdOrTap(const std::optional<std::string>& stored) { return stored == kDictationKeyHoldOrTap; }

bool keepHistory(const std::optional<std::string>& stored) { return stored != kOff; }

bool keepRecordings(const std::optional<std::string>& stored) { return stored == kOn; }

std::optional<std::vector<std::string>> storedCodeSwitchingLanguages(
    const std::optional<std::vector<std::string>>& stored) {
  if (!stored || stored->empty()) return std::nullopt;
  return stored;
}

}  // namespace pellum::preference_rules
