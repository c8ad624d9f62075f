#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "transcription/transcription_mode.h"
#include "translator.h"

namespace pellum::server {

// What a finished utterance is sent as: the verbatim text, then the pieces
// of the final text (cleaned, or translated), or an error instead.
struct TranscriptResult {
  std::string raw;
  std::vector<std::string> pieces;
  std::optional<std::string> error;
};

// Turns the engine's final text into a result: "no speech detected" when it
// has no words; in clean mode the cleaned text as pieces; with a translation
// target other than `language` the translation (of the cleaned text in clean
// mode, of the verbatim text in raw mode) as pieces, or the translator's
// error. May block in the translator: call it from a worker.
TranscriptResult finishTranscript(std::string_view finalText, TranscriptionMode mode,
                                  std::string_view language, std::string_view translateTo,
                                  Translator& translator);

// The live route's messages for a result: raw, chunk..., done; or error.
std::vector<std::string> liveMessages(const TranscriptResult& result);

// The upload route's event-stream body for a result.
std::string uploadEvents(const TranscriptResult& result);

}  // namespace pellum::server
