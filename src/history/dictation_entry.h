#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "transcription/transcription_mode.h"

namespace pellum {

// How a dictation ended: its text pasted, a failure, cancelled, or a failure
// whose kept recording a later retry turned into text.
enum class DictationOutcome { inserted, failed, cancelled, retried };

// "inserted", "failed", "cancelled", "retried": the names the store and
// `pellum history --json` use.
std::string_view outcomeName(DictationOutcome outcome);
std::optional<DictationOutcome> outcomeFromName(std::string_view name);

// One dictation as the history keeps it.
struct DictationEntry {
  std::int64_t id = 0;         // given by the store
  std::int64_t startedAt = 0;  // Unix time in milliseconds
  std::int64_t durationMs = 0;
  TranscriptionMode mode = TranscriptionMode::clean;
  std::string language;
  DictationOutcome outcome = DictationOutcome::inserted;
  std::string failure;    // why it failed; empty otherwise
  std::string text;       // what was inserted (or retried); empty otherwise
  std::string recording;  // the WAV, when kept; empty otherwise
  bool hasRecording = false;

  bool operator==(const DictationEntry&) const = default;
};

// How much the history keeps: the newest `maxEntries`, none older than
// `maxAge`, and the recordings of failed dictations only, unless
// `keepRecordings` asks for every one.
struct HistoryLimits {
  int maxEntries = 100;
  std::chrono::milliseconds maxAge = std::chrono::hours(24 * 7);
  bool keepRecordings = false;
};

}  // namespace pellum
