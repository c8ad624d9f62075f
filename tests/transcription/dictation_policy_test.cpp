#include "transcription/dictation_policy.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

using Next = AfterStream::Next;

TEST(AfterStream, ATextIsInsertedWithoutALogLine) {
  const AfterStream step = afterStream(StreamingResult::success("hello world"));
  EXPECT_EQ(step.next, Next::insertText);
  EXPECT_EQ(step.logLine, "");
}

TEST(AfterStream, AnEmptyTextIsStillTheDictationsText) {
  EXPECT_EQ(afterStream(StreamingResult::success("")).next, Next::insertText);
}

TEST(AfterStream, AProviderFailureUploadsTheRecordingOnce) {
  const AfterStream step =
      afterStream(StreamingResult::failure(StreamingError::gladiaFailed("socket closed")));
  EXPECT_EQ(step.next, Next::uploadRecording);
  EXPECT_EQ(step.logLine, "Gladia failed (socket closed) \u2014 falling back to Groq");
}

TEST(AfterStream, FailuresAnUploadWouldRepeatEndWithoutText) {
  for (const StreamingError& error :
       {StreamingError::notSignedIn(), StreamingError::invalidURL(), StreamingError::noSpeech()}) {
    const AfterStream step = afterStream(StreamingResult::failure(error));
    EXPECT_EQ(step.next, Next::finishWithoutText) << error.description();
    EXPECT_EQ(step.logLine, "Streaming non-recoverable: " + error.description());
  }
}

TEST(ReplyEndedWithoutText, IsAServerErrorThatSaysSo) {
  EXPECT_EQ(replyEndedWithoutText().description(), "Server error: the reply ended without a transcript");
}

TEST(FallbackFailedLine, NamesTheUploadsError) {
  const UploadError error = TransportError{TransportError::Kind::timedOut, "The request timed out."};
  EXPECT_EQ(fallbackFailedLine(error), "Groq fallback failed: The request timed out.");
}

}  // namespace
}  // namespace pellum
