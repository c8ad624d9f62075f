#include "transcription/transcription_mode.h"

namespace pellum {

std::string_view rawValue(TranscriptionMode mode) { return mode == TranscriptionMode::raw ? "raw" : "clean"; }

std::optional<TranscriptionMode> transcriptionModeFromRawValue(std::string_view value) {
  if (value == "clean") return TranscriptionMode::clean;
  if (value == "raw") return TranscriptionMode::raw;
  return std::nullopt;
}

}  // namespace pellum
