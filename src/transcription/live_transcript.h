#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "transcription/result.h"
#include "transcription/streaming_error.h"
#include "transcription/transcription_mode.h"

namespace pellum {

using StreamingResult = Result<StreamingError>;

// The text a live session has collected, and what each server message means
// for it. Plain state with no threads or sockets: the streaming session owns
// one and feeds it every text or binary message it receives.
class LiveTranscript {
 public:
  // What a message asks of the session.
  struct Effect {
    enum class Kind {
      ignored,     // unparsable, untyped or unknown
      rawUpdated,  // a "raw" message; may arm the raw-finish timer after stop
      chunkAdded,  // a "chunk" message
      finished,    // "done" or "error": complete with `result`
    };
    Kind kind = Kind::ignored;
    std::optional<StreamingResult> result;
  };

  LiveTranscript(TranscriptionMode mode, bool translating) : mode_(mode), translating_(translating) {}

  // Handles one message payload (JSON text). "raw" replaces the raw text,
  // "chunk" appends to the cleaned text, "done" finishes with the best text
  // (even an empty one), "error" finishes with noSpeech for exactly
  // "no speech detected" and gladiaFailed otherwise ("unknown" when the
  // message is missing).
  Effect handle(std::string_view payload);

  // Whether raw messages after stop should finish the session on a short
  // timer instead of waiting for "done": only in raw mode, untranslated.
  bool finishesOnRawTimer() const { return mode_ == TranscriptionMode::raw && !translating_; }

  // The cleaned text when non-empty, else the raw text.
  const std::string& bestText() const { return cleanedText_.empty() ? rawText_ : cleanedText_; }
  const std::string& rawText() const { return rawText_; }
  const std::string& cleanedText() const { return cleanedText_; }

 private:
  TranscriptionMode mode_;
  bool translating_;
  std::string rawText_;
  std::string cleanedText_;
};

}  // namespace pellum
