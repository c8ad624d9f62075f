#pragma once

#include <string>

#include "transcription/live_transcript.h"
#include "transcription/upload_error.h"

namespace pellum {

// What a dictation does once its live stream has answered, for the desktop
// and `pellum transcribe` alike, so that both fall back on the same
// failures and log the same lines.
struct AfterStream {
  enum class Next {
    insertText,         // the stream's text is the dictation's
    uploadRecording,    // the provider failed: the kept recording goes to the upload route once
    finishWithoutText,  // nothing an upload could fix (signed out, bad address, no speech)
  };
  Next next;
  // The line to log; empty after a text.
  std::string logLine;
};

// The step after `result`, the live stream's answer.
AfterStream afterStream(const StreamingResult& result);

// What an upload whose reply stopped without a "done" or "error" event ends
// with ("Server error: the reply ended without a transcript"): the route
// promises one, so waiting longer would wait forever.
UploadError replyEndedWithoutText();

// The log line of a fallback upload that failed too.
std::string fallbackFailedLine(const UploadError& error);

}  // namespace pellum
