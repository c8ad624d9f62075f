#include "event_stream_text.h"

#include <gtest/gtest.h>

#include "transcription/upload_reply.h"

namespace pellum::server {
namespace {

TEST(ServerEventStreamTextTest, EventUsesBareLineFeeds) {
  EXPECT_EQ(eventText("done", "{}"), "event: done\ndata: {}\n\n");
}

TEST(ServerEventStreamTextTest, TranscriptEventsInOrder) {
  EXPECT_EQ(transcriptEvents("hello world", {"Hello ", "world."}),
            "event: raw\ndata: \"hello world\"\n\n"
            "event: chunk\ndata: \"Hello \"\n\n"
            "event: chunk\ndata: \"world.\"\n\n"
            "event: done\ndata: {}\n\n");
}

TEST(ServerEventStreamTextTest, ErrorEventStaysOneAsciiLine) {
  EXPECT_EQ(errorEvent("bad\nthing é"), "event: error\ndata: bad?thing ??\n\n");
}

// The client's own parser, fed the reply one byte at a time, gets the text.
TEST(ServerEventStreamTextTest, ClientReadsItByteByByte) {
  const std::string reply = transcriptEvents("hola señor", {"Hola ", "señor."});
  UploadReply client;
  std::optional<UploadResult> result;
  for (char c : reply) {
    if (auto got = client.feed(std::string_view(&c, 1))) result = got;
  }
  ASSERT_TRUE(result.has_value());
  ASSERT_TRUE(result->ok());
  EXPECT_EQ(result->text(), "Hola señor.");
}

}  // namespace
}  // namespace pellum::server
