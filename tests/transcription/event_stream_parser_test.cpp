#include "transcription/event_stream_parser.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "transcription/utf8.h"

namespace pellum {
namespace {

using Events = std::vector<std::pair<std::string, std::string>>;

struct Recorder {
  Events events;
  EventStreamParser parser{
      [this](std::string_view event, std::string_view payload) { events.emplace_back(event, payload); }};
};

TEST(EventStreamParser, HandlesCompleteLinesInOrder) {
  Recorder r;
  r.parser.feed("event: raw\ndata: \"hi\"\n\nevent: done\ndata: {}\n");
  EXPECT_EQ(r.events, (Events{{"raw", "\"hi\""}, {"done", "{}"}}));
}

TEST(EventStreamParser, PartialLineWaitsForTheRest) {
  Recorder r;
  r.parser.feed("event: chunk\ndata: \"Hel");
  EXPECT_TRUE(r.events.empty());
  EXPECT_EQ(r.parser.buffer(), "data: \"Hel");
  r.parser.feed("lo\"\n");
  EXPECT_EQ(r.events, (Events{{"chunk", "\"Hello\""}}));
  EXPECT_EQ(r.parser.buffer(), "");
}

TEST(EventStreamParser, EventNameSurvivesBlankLines) {
  Recorder r;
  r.parser.feed("event: chunk\n\n\ndata: a\n\ndata: b\n");
  EXPECT_EQ(r.events, (Events{{"chunk", "a"}, {"chunk", "b"}}));
}

TEST(EventStreamParser, DataBeforeAnyEventHasTheEmptyName) {
  Recorder r;
  r.parser.feed("data: early\n");
  EXPECT_EQ(r.events, (Events{{"", "early"}}));
}

TEST(EventStreamParser, FieldsNeedExactlyTheBlankAfterTheColon) {
  Recorder r;
  r.parser.feed("event:raw\ndata:x\n: comment\nid: 1\nretry: 5\nevent: done\ndata:  padded \t\n");
  EXPECT_EQ(r.events, (Events{{"done", "padded"}}));
}

TEST(EventStreamParser, TrimsSpacesAndTabsButKeepsCarriageReturns) {
  Recorder r;
  r.parser.feed("event: \t raw \r\ndata: x\r\n");
  EXPECT_EQ(r.events, (Events{{"raw \r", "x\r"}}));
}

TEST(EventStreamParser, InvalidUtf8DeliveryIsDroppedWhole) {
  Recorder r;
  r.parser.feed("event: chunk\ndata: \"caf\xC3");
  r.parser.feed("\xA9\"\nevent: done\n");
  EXPECT_TRUE(r.events.empty());
  EXPECT_EQ(r.parser.buffer(), "");
  EXPECT_EQ(r.parser.currentEvent(), "");
}

TEST(EventStreamParser, SplitMidCharacterLosesBothDeliveries) {
  Recorder r;
  r.parser.feed("event: chunk\n");
  r.parser.feed("data: \"\xC3");            // first half of é: dropped
  r.parser.feed("\xA9\"\ndata: \"ok\"\n");  // starts with a continuation byte: dropped
  r.parser.feed("data: \"later\"\n");
  EXPECT_EQ(r.events, (Events{{"chunk", "\"later\""}}));
}

TEST(DecodeEventText, JsonStringIsDecoded) {
  EXPECT_EQ(decodeEventText("\"line\\nfeed\""), "line\nfeed");
  EXPECT_EQ(decodeEventText("\"\\u00e9\""), "\xC3\xA9");
}

TEST(DecodeEventText, AnythingElseIsVerbatim) {
  EXPECT_EQ(decodeEventText("plain words"), "plain words");
  EXPECT_EQ(decodeEventText("{}"), "{}");
  EXPECT_EQ(decodeEventText("42"), "42");
  EXPECT_EQ(decodeEventText("\"unterminated"), "\"unterminated");
  EXPECT_EQ(decodeEventText(""), "");
}

TEST(Utf8, AcceptsWellFormedText) {
  EXPECT_TRUE(isValidUtf8(""));
  EXPECT_TRUE(isValidUtf8("plain"));
  EXPECT_TRUE(isValidUtf8("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"));
  EXPECT_TRUE(isValidUtf8("\xF4\x8F\xBF\xBF"));
}

TEST(Utf8, RejectsMalformedText) {
  EXPECT_FALSE(isValidUtf8("\xC3"));              // truncated
  EXPECT_FALSE(isValidUtf8("\xA9"));              // lone continuation
  EXPECT_FALSE(isValidUtf8("\xC0\xAF"));          // overlong
  EXPECT_FALSE(isValidUtf8("\xE0\x80\xAF"));      // overlong
  EXPECT_FALSE(isValidUtf8("\xED\xA0\x80"));      // surrogate
  EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80"));  // above U+10FFFF
  EXPECT_FALSE(isValidUtf8("\xFF"));
  EXPECT_FALSE(isValidUtf8("\xE2\x82"));
}

TEST(EventStreamParserLimits, LineAtTheLimitIsHandled) {
  Events events;
  EventStreamParser parser(
      [&](std::string_view event, std::string_view payload) { events.emplace_back(event, payload); }, 16);
  parser.feed("data: 0123456789\n");  // 16 bytes before the line feed
  EXPECT_FALSE(parser.overflowed());
  EXPECT_EQ(events, (Events{{"", "0123456789"}}));
}

TEST(EventStreamParserLimits, CompleteLineOverTheLimitOverflows) {
  Events events;
  EventStreamParser parser(
      [&](std::string_view event, std::string_view payload) { events.emplace_back(event, payload); }, 16);
  parser.feed("data: first\ndata: 01234567890\ndata: after\n");
  EXPECT_TRUE(parser.overflowed());
  EXPECT_EQ(events, (Events{{"", "first"}}));
  EXPECT_TRUE(parser.buffer().empty());
}

TEST(EventStreamParserLimits, UnterminatedLineOverTheLimitOverflowsAcrossDeliveries) {
  Events events;
  EventStreamParser parser(
      [&](std::string_view event, std::string_view payload) { events.emplace_back(event, payload); }, 16);
  parser.feed("data: 01234");
  parser.feed("56789");
  EXPECT_FALSE(parser.overflowed());
  parser.feed("x");
  EXPECT_TRUE(parser.overflowed());
  EXPECT_TRUE(parser.buffer().empty());
  parser.feed("\nevent: done\ndata: {}\n");  // ignored: the reply is past saving
  EXPECT_TRUE(events.empty());
  EXPECT_TRUE(parser.buffer().empty());
}

TEST(EventStreamParserLimits, DefaultLimitIsOneMebibyte) {
  Recorder r;
  r.parser.feed("data: " + std::string(EventStreamParser::kMaxLineBytes - 6, 'a'));
  EXPECT_FALSE(r.parser.overflowed());
  r.parser.feed("a");
  EXPECT_TRUE(r.parser.overflowed());
  EXPECT_EQ(EventStreamParser::kMaxLineBytes, 1024u * 1024u);
}

}  // namespace
}  // namespace pellum
