#include "transcription/dictation_policy.h"

namespace pellum {

AfterStream afterStream(const StreamingResult& result) {
  if (result.ok()) return {AfterStream::Next::insertText, {}};
  const StreamingError* error = &result.error();
  // Only the provider's own failure is worth an upload: the other kinds
  // would fail the same way there.
  if (error->kind() != StreamingError::Kind::gladiaFailed)
    return {AfterStream::Next::finishWithoutText, "Streaming non-recoverable: " + error->description()};
  return {AfterStream::Next::uploadRecording,
          "Gladia failed (" + error->message() + ") \u2014 falling back to Groq"};
}

UploadError replyEndedWithoutText() {
  return TranscriptionError::serverError("the reply ended without a transcript");
}

std::string fallbackFailedLine(const UploadError& error) {
  return "Groq fallback failed: " + error.description();
}

}  // namespace pellum
