#include "transcription/live_transcript.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

using Kind = LiveTranscript::Effect::Kind;

TEST(LiveTranscript, RawReplacesAndChunkAppends) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  EXPECT_EQ(transcript.handle(R"({"type":"raw","text":"hello"})").kind, Kind::rawUpdated);
  EXPECT_EQ(transcript.handle(R"({"type":"raw","text":"hello world"})").kind, Kind::rawUpdated);
  EXPECT_EQ(transcript.rawText(), "hello world");
  EXPECT_EQ(transcript.handle(R"({"type":"chunk","text":"Hello"})").kind, Kind::chunkAdded);
  EXPECT_EQ(transcript.handle(R"({"type":"chunk","text":" world"})").kind, Kind::chunkAdded);
  EXPECT_EQ(transcript.cleanedText(), "Hello world");
}

TEST(LiveTranscript, DoneReturnsChunksEvenWhenRawWasReceived) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  transcript.handle(R"({"type":"chunk","text":"Hello"})");
  transcript.handle(R"({"type":"raw","text":"hello world raw"})");
  transcript.handle(R"({"type":"chunk","text":" world"})");
  const auto effect = transcript.handle(R"({"type":"done"})");
  ASSERT_EQ(effect.kind, Kind::finished);
  EXPECT_EQ(*effect.result, StreamingResult::success("Hello world"));
}

TEST(LiveTranscript, DoneWithoutChunksReturnsRaw) {
  LiveTranscript transcript(TranscriptionMode::raw, false);
  transcript.handle(R"({"type":"raw","text":"verbatim"})");
  EXPECT_EQ(*transcript.handle(R"({"type":"done"})").result, StreamingResult::success("verbatim"));
}

TEST(LiveTranscript, DoneWithNothingIsAnEmptySuccess) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  EXPECT_EQ(*transcript.handle(R"({"type":"done"})").result, StreamingResult::success(""));
}

TEST(LiveTranscript, NoSpeechError) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  EXPECT_EQ(*transcript.handle(R"({"type":"error","error":"no speech detected"})").result,
            StreamingResult::failure(StreamingError::noSpeech()));
}

TEST(LiveTranscript, OtherErrorIsGladiaFailed) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  EXPECT_EQ(*transcript.handle(R"({"type":"error","error":"No Speech Detected"})").result,
            StreamingResult::failure(StreamingError::gladiaFailed("No Speech Detected")));
}

TEST(LiveTranscript, ErrorWithoutErrorKeyIsUnknown) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  const auto result = *transcript.handle(R"({"type":"error"})").result;
  EXPECT_EQ(result, StreamingResult::failure(StreamingError::gladiaFailed("unknown")));
  EXPECT_EQ(result.error().description(), "Streaming failed: unknown");
}

TEST(LiveTranscript, ErrorWithNonStringErrorIsUnknown) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  EXPECT_EQ(*transcript.handle(R"({"type":"error","error":42})").result,
            StreamingResult::failure(StreamingError::gladiaFailed("unknown")));
}

TEST(LiveTranscript, MalformedAndUnknownMessagesAreIgnored) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  for (const char* payload :
       {"", "not json", "[1,2]", "\"raw\"", R"({"text":"x"})", R"({"type":7})",
        R"({"type":"RAW","text":"x"})", R"({"type":"partial","text":"x"})", "{\"type\":\"raw\""}) {
    EXPECT_EQ(transcript.handle(payload).kind, Kind::ignored) << payload;
  }
  EXPECT_EQ(transcript.rawText(), "");
}

TEST(LiveTranscript, RawOrChunkWithoutStringTextChangesNothing) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  transcript.handle(R"({"type":"raw","text":"kept"})");
  EXPECT_EQ(transcript.handle(R"({"type":"raw","text":5})").kind, Kind::rawUpdated);
  EXPECT_EQ(transcript.handle(R"({"type":"chunk"})").kind, Kind::chunkAdded);
  EXPECT_EQ(transcript.rawText(), "kept");
  EXPECT_EQ(transcript.cleanedText(), "");
}

TEST(LiveTranscript, UnicodeEscapesAreDecoded) {
  LiveTranscript transcript(TranscriptionMode::clean, false);
  transcript.handle(R"({"type":"chunk","text":"caf\u00e9 \ud83d\ude00"})");
  EXPECT_EQ(transcript.cleanedText(), "caf\xC3\xA9 \xF0\x9F\x98\x80");
}

TEST(LiveTranscript, RawTimerOnlyInRawModeWithoutTranslation) {
  EXPECT_TRUE(LiveTranscript(TranscriptionMode::raw, false).finishesOnRawTimer());
  EXPECT_FALSE(LiveTranscript(TranscriptionMode::raw, true).finishesOnRawTimer());
  EXPECT_FALSE(LiveTranscript(TranscriptionMode::clean, false).finishesOnRawTimer());
}

}  // namespace
}  // namespace pellum
