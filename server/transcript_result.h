#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "speech_engine.h"
#include "text_cleanup.h"
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

// Turns the engine's final transcript into a result: "no speech detected"
// when it has no words; in clean mode the cleaned text as pieces; with a
// translation target other than `language` the translation as pieces: the
// engine's own when it made one, else the translator's (of the cleaned text
// in clean mode, of the verbatim text in raw mode) or its error. May block in
// the cleanup and the translator: call it from a worker.
TranscriptResult finishTranscript(const EngineTranscript& transcript, TranscriptionMode mode,
                                  std::string_view language, std::string_view translateTo,
                                  TextCleanup& cleanup, Translator& translator);

// The live route's messages for a result: raw, chunk..., done; or error.
std::vector<std::string> liveMessages(const TranscriptResult& result);

// The upload route's event-stream body for a result.
std::string uploadEvents(const TranscriptResult& result);

}  // namespace pellum::server
