#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "transcription/transcription_mode.h"

namespace pellum::server {

// An upload's form, read and its audio converted for the engine.
struct UploadAudio {
  TranscriptionMode mode = TranscriptionMode::clean;
  std::vector<std::string> languages;
  std::vector<std::int16_t> samples;  // 16 kHz mono
  double seconds = 0;                 // length of the recording
};

// Why an upload is refused, with the HTTP status to answer.
struct UploadRejection {
  int status = 400;  // 400 malformed form, 415 unreadable audio
  std::string description;
};

// Reads a POST /transcribe body: a multipart form with "mode" (clean or raw;
// clean when absent), "language" (a code or comma list; "en" when absent)
// and "audio", a RIFF/WAVE file of 16-bit PCM at any rate and channel count,
// whatever its part's file name and type say.
std::variant<UploadAudio, UploadRejection> readUploadForm(std::string_view contentType,
                                                          std::string_view body);

}  // namespace pellum::server
