#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "transcription/transcription_mode.h"

// The preference keys, their values, and how every reader interprets what is
// stored (or not stored) under them. The store itself is elsewhere; these
// rules are shared by every reader so that they all agree.
namespace pellum::preference_rules {

inline constexpr std::string_view kTranscriptionMode = "transcriptionMode";
inline constexpr std::string_view kSoundsMode = "soundsMode";
inline constexpr std::string_view kLanguageMode = "languageMode";
inline constexpr std::string_view kCodeSwitchingLanguages = "codeSwitchingLanguages";
inline constexpr std::string_view kTranslateTo = "translateTo";
inline constexpr std::string_view kAudioInputDeviceUID = "audioInputDeviceUID";
// The dictation key by keysym name ("Control_R", "F13"); absent or empty is
// the automatic choice.
inline constexpr std::string_view kDictationKey = "dictationKey";
// "hold" (the default) or "holdOrTap": a short tap starts a hands-free
// dictation that the next press ends.
inline constexpr std::string_view kDictationKeyMode = "dictationKeyMode";
// "on" (the default) or "off": whether recent dictations are kept at all.
inline constexpr std::string_view kKeepHistory = "keepHistory";
// "on" or "off" (the default): whether every dictation's recording is kept,
// not only the failed ones'.
inline constexpr std::string_view kKeepRecordings = "keepRecordings";

inline constexpr std::string_view kSoundsOff = "off";
inline constexpr std::string_view kSoundsOn = "on";
inline constexpr std::string_view kOff = "off";
inline constexpr std::string_view kOn = "on";
inline constexpr std::string_view kLanguageModeKeyboard = "keyboard";
inline constexpr std::string_view kLanguageModeCodeSwitching = "codeSwitching";
inline constexpr std::string_view kAutomaticDevice = "__auto__";
inline constexpr std::string_view kDictationKeyHold = "hold";
inline constexpr std::string_view kDictationKeyHoldOrTap = "holdOrTap";

// Only an exact "raw" is raw; anything else, absence included, is clean.
TranscriptionMode mode(const std::optional<std::string>& stored);

// Sounds are off only for exactly "off".
bool soundsOff(const std::optional<std::string>& stored);

// Code switching only for exactly "codeSwitching".
bool isCodeSwitching(const std::optional<std::string>& stored);

// Absent and empty both mean no translation.
std::optional<std::string> translationTarget(const std::optional<std::string>& stored);

// Absent and "__auto__" both mean automatic (nothing).
std::optional<std::string> selectedInputDeviceUID(const std::optional<std::string>& stored);

// Absent and empty both mean the automatic key (nothing).
std::optional<std::string> dictationKey(const std::optional<std::string>& stored);

// Hold or tap only for exactly "holdOrTap".
bool holdOrTap(const std::optional<std::string>& stored);

// History is kept unless exactly "off"; recordings only for exactly "on".
bool keepHistory(const std::optional<std::string>& stored);
bool keepRecordings(const std::optional<std::string>& stored);

// The stored list when it has entries; otherwise nothing, and the reader
// computes the default from the keyboard layouts (without writing it back).
std::optional<std::vector<std::string>> storedCodeSwitchingLanguages(
    const std::optional<std::vector<std::string>>& stored);

}  // namespace pellum::preference_rules
