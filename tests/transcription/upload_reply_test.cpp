#include "transcription/upload_reply.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

TEST(UploadReply, ChunkSplitMidDataLineStillYieldsTheWholeText) {
  UploadReply reply;
  EXPECT_EQ(reply.feed("event: raw\ndata: \"hello world\"\nevent: chunk\ndata: \"Hello, wo"), std::nullopt);
  EXPECT_EQ(reply.feed("rld.\"\nevent: done\ndata: {}\n"), UploadResult::success("Hello, world."));
}

TEST(UploadReply, NonJsonPayloadContributesVerbatim) {
  UploadReply reply;
  EXPECT_EQ(reply.feed("event: chunk\ndata: plain text\nevent: done\ndata: {}\n"),
            UploadResult::success("plain text"));
}

TEST(UploadReply, EscapedLineFeedBecomesARealOne) {
  UploadReply reply;
  EXPECT_EQ(reply.feed("event: chunk\ndata: \"one\\ntwo\"\nevent: done\ndata: {}\n"),
            UploadResult::success("one\ntwo"));
}

TEST(UploadReply, DataBeforeAnyEventIsIgnored) {
  UploadReply reply;
  EXPECT_EQ(reply.feed("data: \"stray\"\nevent: done\ndata: {}\n"), UploadResult::success(""));
}

TEST(UploadReply, ChunksConcatenateWithoutSeparator) {
  UploadReply reply;
  EXPECT_EQ(
      reply.feed("event: chunk\ndata: \"Hello\"\nevent: chunk\ndata: \" world\"\nevent: done\ndata: {}\n"),
      UploadResult::success("Hello world"));
}

TEST(UploadReply, DoneWithoutChunksGivesRaw) {
  UploadReply reply;
  EXPECT_EQ(reply.feed("event: raw\ndata: \"first\"\nevent: raw\ndata: \"second\"\nevent: done\ndata: {}\n"),
            UploadResult::success("second"));
}

TEST(UploadReply, ErrorPayloadIsVerbatimNotDecoded) {
  UploadReply reply;
  const auto result = reply.feed("event: error\ndata: \"quoted\" reason\n");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->error().description(), "Server error: \"quoted\" reason");
}

TEST(UploadReply, OnlyTheFirstResultCounts) {
  UploadReply reply;
  EXPECT_TRUE(reply.feed("event: done\ndata: {}\n"));
  EXPECT_EQ(reply.feed("event: chunk\ndata: \"late\"\nevent: error\ndata: x\nevent: done\ndata: {}\n"),
            std::nullopt);
  EXPECT_EQ(reply.cleanedText(), "late");
}

TEST(UploadReply, StreamWithoutDoneOrErrorYieldsNothing) {
  UploadReply reply;
  EXPECT_EQ(reply.feed("event: raw\ndata: \"hi\"\nevent: chunk\ndata: \"Hi\"\n"), std::nullopt);
  EXPECT_FALSE(reply.completed());
}

TEST(UploadReply, MarkedCompletedFromOutsideSuppressesResults) {
  UploadReply reply;
  EXPECT_TRUE(reply.markCompleted());
  EXPECT_FALSE(reply.markCompleted());
  EXPECT_EQ(reply.feed("event: done\ndata: {}\n"), std::nullopt);
}

TEST(UploadReply, EventNamesAreCaseSensitive) {
  UploadReply reply;
  EXPECT_EQ(reply.feed("event: Done\ndata: {}\nevent: ERROR\ndata: x\n"), std::nullopt);
}

TEST(UploadReplyLimits, LongLineIsAServerError) {
  UploadReply reply(/*maxLineBytes=*/16, /*maxTextBytes=*/100);
  EXPECT_EQ(reply.feed("event: chunk\ndata: \"ok\"\n"), std::nullopt);
  EXPECT_EQ(
      reply.feed("data: \"0123456789\""),
      UploadResult::failure(TranscriptionError::serverError("the reply has a line longer than 16 bytes")));
  EXPECT_TRUE(reply.overflowed());
  EXPECT_EQ(reply.feed("\nevent: done\ndata: {}\n"), std::nullopt);
}

TEST(UploadReplyLimits, GrowingTranscriptIsAServerError) {
  UploadReply reply(/*maxLineBytes=*/100, /*maxTextBytes=*/8);
  EXPECT_EQ(reply.feed("event: chunk\ndata: \"1234\"\n"), std::nullopt);
  EXPECT_EQ(reply.feed("data: \"5678\"\n"), std::nullopt);
  EXPECT_EQ(reply.feed("data: \"9\"\n"), UploadResult::failure(TranscriptionError::serverError(
                                             "the transcript in the reply is larger than 8 bytes")));
  EXPECT_TRUE(reply.overflowed());
}

TEST(UploadReplyLimits, LongRawTextIsAServerError) {
  UploadReply reply(/*maxLineBytes=*/100, /*maxTextBytes=*/8);
  EXPECT_EQ(reply.feed("event: raw\ndata: \"123456789\"\n"),
            UploadResult::failure(
                TranscriptionError::serverError("the transcript in the reply is larger than 8 bytes")));
}

TEST(UploadReplyLimits, OverflowAfterTheResultYieldsNothingMore) {
  UploadReply reply(/*maxLineBytes=*/16, /*maxTextBytes=*/100);
  EXPECT_EQ(reply.feed("event: done\ndata: {}\n"), UploadResult::success(""));
  EXPECT_EQ(reply.feed("data: 0123456789abcdef\n"), std::nullopt);
  EXPECT_TRUE(reply.overflowed());
}

}  // namespace
}  // namespace pellum
